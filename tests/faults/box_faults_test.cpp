// SPDX-License-Identifier: MIT
// Faults while a box is made, gets its items, is opened, and goes; and while its small fields are written.
#include "tests/faults/fault_box.h"

namespace {

using namespace faults;

constexpr u32 kName = 0x4C504241;

TEST_F(BoxFaults, CreatingABox)
{
    endure(
        {.prepare = [] {}, .act = [] { return _BoxCreate(kBox, kName); }, .windows = {.cut = {kNoHeader}}});
}

// A box that is refused leaves no file that would stand in the way of the next attempt.
TEST_F(BoxFaults, BoxThatCannotBeMadeLeavesNoFile)
{
    for (uint32_t kind : {kFaultAlloc, kFaultOpen, kFaultCreate, kFaultWrite, kFaultSeek}) {
        for (uint32_t k = 1; k <= 5; k++) {
            Shim().watch(home().c_str());
            Shim().plan(kind, k, true, kFaultFail);
            ::testing::internal::CaptureStderr();
            u32 status = _BoxCreate(kBox, kName);
            ::testing::internal::GetCapturedStderr();
            Shim().rest();
            EXPECT_EQ(takeFiles().count("T.BOX"), status == 0 ? 1u : 0u) << "kind " << kind << ", call " << k;
            putFiles({});
        }
    }
}

TEST_F(BoxFaults, FirstItems)
{
    static const ItemRecord items[2] = {{17, 0, {'N', 'A', 'M', 'E'}, "name"},
                                        {4, 0, {'D', 'A', 'T', 'E'}, "date"}};
    endure({.prepare = [] { ASSERT_EQ(_BoxCreate(kBox, kName), 0u); },
            .act =
                [] {
                    u32 rewritten = 0;
                    return _BoxItemAppend(kBox, items, 2, &rewritten);
                },
            .windows = {.torn = {kNoHeader}}});
}

TEST_F(BoxFaults, OpeningAndClosing)
{
    endure({.prepare = boxOf({10, 20, 30}), .act = [] { return WithBox([](BoxHandle) { return 0u; }); }});
}

TEST_F(BoxFaults, ApplicationName)
{
    endure({.prepare = boxOf({10, 20}), .act = [] { return _WriteAplName(kBox, "ZZZZ"); }});
}

TEST_F(BoxFaults, FileInformation)
{
    endure({.prepare = boxOf({10, 20}), .act = [] { return _SetFileInfo(kBox, 7); }});
}

TEST_F(BoxFaults, SystemCardSize)
{
    endure({.prepare = boxOf({10, 20}), .act = [] { return _WriteSystemcardSizeL(kBox, 20480); }});
}

TEST_F(BoxFaults, DeletingABox)
{
    endure({.prepare = boxOf({10, 20}), .act = [] { return _BoxDelete(kBox); }});
}

// --- images ---------------------------------------------------------------------------------------------

u32 WriteImage(u16 id, size_t length, unsigned seed)
{
    std::vector<u16> image((length + 1) / 2);
    std::string bytes = Pattern(length, seed);
    bytes.copy(reinterpret_cast<char*>(image.data()), length);
    return _WriteCardImage(kBox, id, image.data(), static_cast<u32>(length));
}

// The image of a system card whose items are all empty.
u32 WriteSystemImage(u16 id, u8 attr)
{
    u8 body[12] = {2, 0, 7, 0, 1, 0, 0, 0, 0, 0, 0, attr};
    u16 image[6];
    std::copy(body, body + 12, reinterpret_cast<u8*>(image));
    return _WriteCardImage(kBox, id, image, 12);
}

TEST_F(BoxFaults, FirstImageOfABoxWithoutCards)
{
    endure({.prepare = [] { MakeBox(); }, .act = [] { return WriteImage(EXT_INFO_ID, 100, 1); }});
}

TEST_F(BoxFaults, ImageOfTheExtendedInformation)
{
    endure({.prepare = boxOf({10, 20}), .act = [] { return WriteImage(EXT_INFO_ID, 100, 1); }});
}

TEST_F(BoxFaults, ImageInPlaceOfAnother)
{
    endure({.prepare =
                [this] {
                    boxOf({10, 20})();
                    ASSERT_EQ(WriteImage(EXT_INFO_ID, 100, 1), 0u);
                    Fill({30});
                },
            .act = [] { return WriteImage(EXT_INFO_ID, 60, 2); },
            .windows = kDiesBeforeItsSlot});
}

TEST_F(BoxFaults, ImageInPlaceOfTheLastCard)
{
    endure({.prepare =
                [this] {
                    boxOf({10, 20})();
                    ASSERT_EQ(WriteImage(EXT_INFO_ID, 100, 1), 0u);
                },
            .act = [] { return WriteImage(EXT_INFO_ID, 160, 2); },
            .windows = {.cut = {kWildSlot, kCardLost, kCardMixed}}});
}

TEST_F(BoxFaults, ImageOfANewSystemCard)
{
    endure({.prepare = boxOf({10, 20}), .act = [] { return WriteSystemImage(65300, 0x40); }});
}

TEST_F(BoxFaults, ImageInPlaceOfASystemCard)
{
    endure({.prepare =
                [this] {
                    boxOf({10, 20})();
                    ASSERT_EQ(WriteSystemImage(65300, 0x40), 0u);
                    Fill({30});
                },
            .act = [] { return WriteSystemImage(65300, 0x41); },
            .windows = kSystemCardDiesBeforeItsSlot});
}

}  // namespace
