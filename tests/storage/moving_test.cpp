// SPDX-License-Identifier: MIT
#include "storage/bxd_data.h"

#include "tests/storage/storage_case.h"

namespace {

using namespace storagetest;

constexpr const char* kName = "F0:A.BOX";

// A move of bytes, as an application of it would be written on a string.
struct Move {
    u32 src;
    u32 dst;
    u32 count;
    std::string data;
};

std::ostream& operator<<(std::ostream& out, const Move& m)
{
    return out << "src " << m.src << " dst " << m.dst << " count " << m.count << " data " << m.data.size();
}

void Put(std::string& file, size_t at, const std::string& bytes)
{
    if (file.size() < at + bytes.size()) { file.resize(at + bytes.size(), '\0'); }
    file.replace(at, bytes.size(), bytes);
}

std::string Moved(std::string file, const Move& m)
{
    if (m.src == m.dst) { return file; }
    const bool up = m.src < m.dst;
    const std::string block = m.count == 0 ? "" : file.substr(m.src, m.count);
    const size_t end = m.dst + m.count + (up ? 0 : m.data.size());
    if (end >= file.size() + 2) {
        Put(file, end - 2, "\xFF\xFF");
    } else if (end > file.size()) {
        Put(file, end - 1, "\xFF");
    }
    Put(file, m.dst, block);
    if (!m.data.empty()) { Put(file, up ? m.dst - m.data.size() : m.dst + m.count, m.data); }
    return file;
}

class Moving : public StorageCase {
protected:
    ~Moving() override
    {
        if (open_) { EXPECT_EQ(BxdFileClose(fid), 0u); }
    }
    void start(const std::string& contents)
    {
        if (open_) { EXPECT_EQ(BxdFileClose(fid), 0u); }
        home.write(kName, contents);
        fid = mustOpen(kName);
        open_ = true;
    }
    std::string file() const
    {
        const std::string text = home.readText(kName);
        EXPECT_EQ(BxdFileSize(fid), text.size());
        return text;
    }
    u32 move(const Move& m) const
    {
        return FlashTransferF(fid, m.src, m.dst, m.count, m.data.data(), static_cast<u32>(m.data.size()));
    }

    u8 fid = kNoFile;

private:
    bool open_ = false;
};

}  // namespace

// --- FlashTransferF -------------------------------------------------------------------------------------

TEST_F(Moving, NowhereWritesNothingNotEvenTheData)
{
    start("0123456789");
    EXPECT_EQ(move({4, 4, 3, "data"}), 0u);
    EXPECT_EQ(file(), "0123456789");
    EXPECT_EQ(FlashTransferF(kNoFile, 4, 4, 3, "data", 4), 0u) << "not even the file is looked at";
}

TEST_F(Moving, UpPutsTheDataBelowTheBlock)
{
    start("0123456789");
    EXPECT_EQ(move({2, 7, 3, "ab"}), 0u);
    EXPECT_EQ(file(), "01234ab234");
}

TEST_F(Moving, DownPutsTheDataBehindTheBlock)
{
    start("0123456789");
    EXPECT_EQ(move({6, 1, 3, "ab"}), 0u);
    EXPECT_EQ(file(), "0678ab6789");
}

TEST_F(Moving, WithoutABlockOnlyTheDataAreWritten)
{
    start("0123456789");
    EXPECT_EQ(move({0, 5, 0, "ab"}), 0u);
    EXPECT_EQ(file(), "012ab56789");
    start("0123456789");
    EXPECT_EQ(move({9, 5, 0, "ab"}), 0u);
    EXPECT_EQ(file(), "01234ab789");
    start("0123456789");
    EXPECT_EQ(move({9, 5, 0, ""}), 0u);
    EXPECT_EQ(file(), "0123456789");
}

TEST_F(Moving, TheNewEndIsSecuredBeforeAndTheGapIsErasedOrEmpty)
{
    start("0123456789");
    EXPECT_EQ(move({0, 20, 1, ""}), 0u);
    EXPECT_EQ(file(), std::string("0123456789\0\0\0\0\0\0\0\0\0\xFF", 20) + "0");
}

TEST_F(Moving, MatchesWhatAStringWouldDoAtEverySizeAndOverlap)
{
    const std::string contents = Pattern(3000);
    const u32 places[] = {0, 1, 513, 700, 1500, 3000, 3001, 3300};
    const u32 counts[] = {0, 1, 2, 512, 513, 1400};
    const size_t inserted[] = {0, 1, 100, 513};
    for (u32 src : places) {
        for (u32 dst : places) {
            for (u32 count : counts) {
                if (count > 0 && src + count > contents.size()) { continue; }
                for (size_t n : inserted) {
                    if (src < dst && n > dst) { continue; }
                    const Move m = {src, dst, count, Pattern(n, 7)};
                    start(contents);
                    ASSERT_EQ(move(m), 0u) << m;
                    ASSERT_EQ(file(), Moved(contents, m)) << m;
                }
            }
        }
    }
}

TEST_F(Moving, ABlockThatDoesNotLieInTheFileIsRefusedBeforeAnythingMoves)
{
    start("0123456789");
    for (const Move& m :
         {Move{5, 0, 6, ""}, Move{11, 0, 1, "ab"}, Move{0, 5, 11, ""}, Move{0, 5, 0xFFFFFFFF, ""},
          Move{0xFFFFFFFF, 5, 1, ""}, Move{3, 0, 0x80000000, "ab"}}) {
        EXPECT_EQ(move(m), 71u) << m;
        EXPECT_EQ(file(), "0123456789") << m;
    }
}

TEST_F(Moving, PositionsBeyondAllFilesAreRefused)
{
    start("0123456789");
    for (const Move& m : {Move{0, 0xFFFFFFFF, 5, ""}, Move{0, 1, 5, "ab"}, Move{0, 0xFFFFFFF0, 1, "ab"}}) {
        (void)Told([&] { EXPECT_EQ(move(m), 71u) << m; });
        EXPECT_EQ(file(), "0123456789") << m;
    }
}

TEST_F(Moving, AReaderMovesNothing)
{
    home.write(kName, "0123456789");
    const u8 reader = mustOpen(kName, BXD_MODE_READ);
    EXPECT_EQ(FlashTransferF(reader, 0, 5, 3, nullptr, 0), 71u);
    EXPECT_EQ(FlashTransferF(reader, 0, 50, 3, nullptr, 0), 71u);
    EXPECT_EQ(PreWriteOneByte(reader, 20), 71u);
    EXPECT_EQ(PreWriteEndMark(reader, 20), 71u);
    EXPECT_EQ(home.readText(kName), "0123456789");
    EXPECT_EQ(BxdFileClose(reader), 0u);
}

TEST_F(Moving, AFailureToSecureTheEndComesBeforeAnythingMoves)
{
    const std::string contents = Pattern(500);
    start(contents);
    {
        const FileSizeLimit limit(500);
        (void)Told([&] { EXPECT_EQ(move({0, 100, 500, "ab"}), 71u); });
    }
    EXPECT_EQ(file(), contents);
}

// --- gaps -----------------------------------------------------------------------------------------------

TEST_F(Moving, AGapIsOpened)
{
    start("0123456789");
    EXPECT_EQ(ExtendTransfer(fid, 4, 3), 0u);
    const std::string text = file();
    EXPECT_EQ(text.size(), 13u);
    EXPECT_EQ(text.substr(0, 4), "0123");
    EXPECT_EQ(text.substr(7), "456789");
    EXPECT_EQ(ExtendTransfer(fid, 0, 1), 0u);
    EXPECT_EQ(file().substr(1), text);
}

TEST_F(Moving, AGapOfNothingTouchesNothing)
{
    start("0123456789");
    EXPECT_EQ(ExtendTransfer(fid, 4, 0), 0u);
    EXPECT_EQ(ExtendTransfer(fid, 100, 0), 0u);
    EXPECT_EQ(CutTransfer(fid, 4, 0), 0u);
    EXPECT_EQ(CutTransfer(fid, 100, 0), 0u);
    EXPECT_EQ(file(), "0123456789");
}

TEST_F(Moving, AGapAtTheEndOrBehindItIsRefused)
{
    start("0123456789");
    EXPECT_EQ(ExtendTransfer(fid, 10, 3), 71u);
    EXPECT_EQ(ExtendTransfer(fid, 11, 3), 71u);
    EXPECT_EQ(ExtendTransfer(fid, 4, 0xFFFFFFFF), 71u);
    EXPECT_EQ(ExtendTransfer(fid, 9, 1), 0u);
    EXPECT_EQ(file().substr(10), "9");
}

TEST_F(Moving, AGapIsClosed)
{
    start("0123456789");
    EXPECT_EQ(CutTransfer(fid, 2, 3), 0u);
    EXPECT_EQ(file(), "0156789");
    EXPECT_EQ(CutTransfer(fid, 0, 1), 0u);
    EXPECT_EQ(file(), "156789");
    EXPECT_EQ(CutTransfer(fid, 4, 1), 0u);
    EXPECT_EQ(file(), "15679");
}

TEST_F(Moving, ACutThatReachesTheEndIsRefusedAndLeavesTheFile)
{
    start("0123456789");
    EXPECT_EQ(CutTransfer(fid, 2, 8), 71u);
    EXPECT_EQ(CutTransfer(fid, 2, 9), 71u);
    EXPECT_EQ(CutTransfer(fid, 20, 1), 71u);
    EXPECT_EQ(CutTransfer(fid, 2, 0xFFFFFFFF), 71u);
    EXPECT_EQ(file(), "0123456789");
}

TEST_F(Moving, LongTailsMoveBothWays)
{
    const std::string contents = Pattern(100000);
    start(contents);
    EXPECT_EQ(ExtendTransfer(fid, 1000, 77), 0u);
    EXPECT_EQ(file().substr(1077), contents.substr(1000));
    EXPECT_EQ(CutTransfer(fid, 1000, 77), 0u);
    EXPECT_EQ(file(), contents);
}

// --- securing the end -----------------------------------------------------------------------------------

TEST_F(Moving, OneByteIsPlacedAndTheFileEndsBehindIt)
{
    start("0123456789");
    EXPECT_EQ(PreWriteOneByte(fid, 10), 0u);
    EXPECT_EQ(file(), "0123456789\xFF");
    EXPECT_EQ(PreWriteOneByte(fid, 12), 0u);
    EXPECT_EQ(file(), std::string("0123456789\xFF\0\xFF", 13));
    EXPECT_EQ(PreWriteOneByte(fid, 4), 0u);
    EXPECT_EQ(file(), "0123\xFF");
    EXPECT_EQ(PreWriteOneByte(fid, 0), 0u);
    EXPECT_EQ(file(), "\xFF");
}

TEST_F(Moving, OneByteStartsAnEmptyFile)
{
    start("");
    EXPECT_EQ(PreWriteOneByte(fid, 0), 0u);
    EXPECT_EQ(file(), "\xFF");
}

TEST_F(Moving, TheEndMarkIsPlacedAndTheFileEndsBehindIt)
{
    start("0123456789");
    EXPECT_EQ(PreWriteEndMark(fid, 10), 0u);
    EXPECT_EQ(file(), "0123456789\xFF\xFF");
    EXPECT_EQ(PreWriteEndMark(fid, 11), 0u);
    EXPECT_EQ(file(), "0123456789\xFF\xFF\xFF");
    EXPECT_EQ(PreWriteEndMark(fid, 15), 0u);
    EXPECT_EQ(file(), std::string("0123456789\xFF\xFF\xFF\0\0\xFF\xFF", 17));
    EXPECT_EQ(PreWriteEndMark(fid, 4), 0u) << "a longer file is cut back";
    EXPECT_EQ(file(), "0123\xFF\xFF");
}

TEST_F(Moving, TheEndMarkStartsAnEmptyFile)
{
    start("");
    EXPECT_EQ(PreWriteEndMark(fid, 0), 0u);
    EXPECT_EQ(file(), "\xFF\xFF");
    start("");
    EXPECT_EQ(PreWriteEndMark(fid, 1), 0u);
    EXPECT_EQ(file(), std::string("\0\xFF\xFF", 3));
}

TEST_F(Moving, AMarkAloneLeavesALongerFileAsLongAsItIs)
{
    start("0123456789");
    EXPECT_EQ(bxd::PlaceEndMark(fid, 4), 0u);
    EXPECT_EQ(file(), "0123\xFF\xFF\x36\x37\x38\x39");
    EXPECT_EQ(bxd::PlaceEndMark(fid, 9), 0u);
    EXPECT_EQ(file(), "0123\xFF\xFF\x36\x37\x38\xFF\xFF");
}

TEST_F(Moving, AMarkThatCannotBeWrittenLeavesTheFile)
{
    start("0123456789");
    const FileSizeLimit limit(10);
    (void)Told([&] {
        EXPECT_EQ(PreWriteEndMark(fid, 10), 71u);
        EXPECT_EQ(PreWriteOneByte(fid, 10), 71u);
        EXPECT_EQ(PreWriteEndMark(fid, 0xFFFFFFFE), 71u);
        EXPECT_EQ(PreWriteOneByte(fid, 0xFFFFFFFF), 71u);
    });
    EXPECT_EQ(file(), "0123456789");
}

TEST_F(Moving, AMarkNeedsAnIdThatIsOpen)
{
    (void)Told([] {
        EXPECT_EQ(PreWriteEndMark(kNoFile, 4), 71u);
        EXPECT_EQ(PreWriteOneByte(kNoFile, 4), 71u);
    });
}

// --- between files --------------------------------------------------------------------------------------

TEST_F(Moving, OneFileIsCopiedIntoAnother)
{
    for (u32 count : {0u, 1u, 511u, 512u, 513u, 5000u}) {
        const std::string source = Pattern(5000, 3);
        home.write("F0:SRC", source);
        start("0123456789");
        const u8 src = mustOpen("F0:SRC", BXD_MODE_READ);
        EXPECT_EQ(DataReadAndWriteFile(src, fid, count, 4), 0u);
        std::string expected = "0123456789";
        Put(expected, 4, source.substr(0, count));
        EXPECT_EQ(file(), expected) << count;
        EXPECT_EQ(BxdFileClose(src), 0u);
    }
}

TEST_F(Moving, ACopyOfNothingTouchesNothing)
{
    EXPECT_EQ(Told([] { EXPECT_EQ(DataReadAndWriteFile(kNoFile, kNoFile, 0, 4), 0u); }), "");
}

TEST_F(Moving, ACopyEndsWhereItsSourceEnds)
{
    home.write("F0:SRC", "abc");
    start("0123456789");
    const u8 src = mustOpen("F0:SRC");
    (void)Told([&] { EXPECT_EQ(DataReadAndWriteFile(src, fid, 4, 0), 71u); });
    EXPECT_EQ(file(), "abc3456789") << "what was moved stays moved";
    (void)Told([&] { EXPECT_EQ(DataReadAndWriteFile(src, fid, 0xFFFFFFFF, 0), 71u); });
    EXPECT_EQ(BxdFileClose(src), 0u);
}

TEST_F(Moving, ACopyNeedsASourceThatIsReadAndATargetThatIsWritten)
{
    home.write("F0:SRC", "abc");
    start("0123456789");
    const u8 src = mustOpen("F0:SRC", BXD_MODE_READ);
    (void)Told([&] {
        EXPECT_EQ(DataReadAndWriteFile(fid, src, 3, 0), 71u);
        EXPECT_EQ(DataReadAndWriteFile(kNoFile, fid, 3, 0), 71u);
        EXPECT_EQ(DataReadAndWriteFile(fid, kNoFile, 3, 0), 71u);
    });
    EXPECT_EQ(home.readText("F0:SRC"), "abc");
    EXPECT_EQ(BxdFileClose(src), 0u);
}
