// SPDX-License-Identifier: MIT
// Faults while an item of a stored card gets a value: every way that a write can take.
//
//   a normal card       equal length  shorter, last  all else
//     from memory       in place      in place       anew behind the last card
//     from a file       anew          in place       anew
//   a system card       equal length  last card      all else
//     from memory       in place      in place       anew
//     from a file       anew or last  in place       anew
#include "tests/faults/fault_box.h"

namespace {

using namespace faults;

class WriteFaults : public BoxFaults {
protected:
    // The TEXT of card `id` gets a value from memory.
    static std::function<u32()> write(u32 id, size_t length, u32 offset = 0)
    {
        return [=] {
            return WithBox(
                [=](BoxHandle box) { return Write(box, id, "TEXT", Pattern(length, 52), offset); });
        };
    }
    static std::function<u32()> writeFile(u32 id)
    {
        return [=] { return WithBox([=](BoxHandle box) { return writeFromSource(box, id); }); };
    }

    // Cards 1, 2 and so on, and a source file of `length` bytes.
    std::function<void()> boxAndSource(std::vector<size_t> lengths, size_t length) const
    {
        return [this, lengths, length] {
            boxOf(lengths)();
            makeSource(length);
        };
    }

    // A system card 65300 with a TEXT of `length` bytes; normal cards before it, and one behind it unless
    // it is to be the last.
    std::function<void()> systemBox(size_t length, bool last, size_t source = 0) const
    {
        return [=, this] {
            boxOf({10, 20})();
            ASSERT_EQ(WithBox([=](BoxHandle box) {
                          u32 status = Edit(box, 10, 3);
                          if (status == 0) { status = Copy(box, TMP_SYSTEM_CARD_ID, kSystem); }
                          return status == 0 ? Write(box, kSystem, "TEXT", Pattern(length, 3)) : status;
                      }),
                      0u);
            if (!last) { Fill({30}); }
            makeSource(source);
        };
    }

    static constexpr u32 kSystem = 65300;
};

// --- normal cards, from memory ----------------------------------------------------------------------------

TEST_F(WriteFaults, NothingToWrite) { endure({.prepare = boxOf({10, 20, 30}), .act = write(2, 0, 20)}); }

TEST_F(WriteFaults, EqualLength) { endure({.prepare = boxOf({10, 20, 30}), .act = write(2, 20)}); }

TEST_F(WriteFaults, EqualLengthFromAnOffset)
{
    endure({.prepare = boxOf({10, 20, 30}), .act = write(2, 13, 7)});
}

TEST_F(WriteFaults, Attribute)
{
    endure({.prepare = boxOf({10, 20, 30}),
            .act = [] { return WithBox([](BoxHandle box) { return Write(box, 2, "ATTR", "\x15"); }); }});
}

TEST_F(WriteFaults, AttributesHighNibble)
{
    endure({.prepare = boxOf({10, 20, 30}), .act = [] {
                return WithBox([](BoxHandle box) {
                    CardDescriptor key = Key(2, "ATTR");
                    std::copy(key.itemNameId, key.itemNameId + 4, key.patchTag);
                    u8 attr = 0x15;
                    return _CardWrite(box, &key, &attr, 1);
                });
            }});
}

TEST_F(WriteFaults, ShorterOnTheLastCard) { endure({.prepare = boxOf({10, 20, 30}), .act = write(3, 12)}); }

TEST_F(WriteFaults, ShorterByOneByteOnTheLastCard)
{
    endure({.prepare = boxOf({10, 20, 30}), .act = write(3, 29)});
}

TEST_F(WriteFaults, ShorterWithASmallerLengthFieldOnTheLastCard)
{
    endure({.prepare = boxOf({10, 20, 300}), .act = write(3, 100)});
}

TEST_F(WriteFaults, ShorterOnALastCardOfManyBlocks)
{
    endure({.prepare = boxOf({10, 20, 90000}), .act = write(3, 80000), .windows = kChangedInPlace});
}

TEST_F(WriteFaults, ShorterOnAMiddleCard)
{
    endure({.prepare = boxOf({10, 20, 30}), .act = write(2, 12), .windows = kDiesBeforeItsSlot});
}

TEST_F(WriteFaults, LongerOnTheLastCard)
{
    endure({.prepare = boxOf({10, 20, 30}), .act = write(3, 40), .windows = kDiesBeforeItsSlot});
}

TEST_F(WriteFaults, LongerOnAMiddleCard)
{
    endure({.prepare = boxOf({10, 20, 30}), .act = write(2, 200), .windows = kDiesBeforeItsSlot});
}

TEST_F(WriteFaults, LongerBehindAnOffset)
{
    endure({.prepare = boxOf({10, 20, 30}), .act = write(2, 200, 15), .windows = kDiesBeforeItsSlot});
}

TEST_F(WriteFaults, LongerOverManyBlocks)
{
    endure({.prepare = boxOf({10, 60000, 30}), .act = write(2, 70000), .windows = kDiesBeforeItsSlot});
}

TEST_F(WriteFaults, LongerOnACardBeforeADeadOne)
{
    endure({.prepare =
                [this] {
                    boxOf({10, 20, 30})();
                    kill(3);
                },
            .act = write(2, 40),
            .windows = kDiesBeforeItsSlot});
}

TEST_F(WriteFaults, LongerOnACardOfAnAppendTable)
{
    endure({.prepare = boxOf(std::vector<size_t>(503, 8)),
            .act = write(502, 30),
            .windows = kDiesBeforeItsSlot});
}

// --- normal cards, from a file ----------------------------------------------------------------------------

TEST_F(WriteFaults, EqualLengthFromAFile)
{
    endure({.prepare = boxAndSource({10, 20, 30}, 20), .act = writeFile(2), .windows = kDiesBeforeItsSlot});
}

TEST_F(WriteFaults, ShorterFromAFileOnTheLastCard)
{
    endure({.prepare = boxAndSource({10, 20, 30}, 12), .act = writeFile(3)});
}

TEST_F(WriteFaults, ShorterFromAFileOnALastCardOfManyBlocks)
{
    endure(
        {.prepare = boxAndSource({10, 20, 50000}, 40000), .act = writeFile(3), .windows = kChangedInPlace});
}

TEST_F(WriteFaults, ShorterFromAFileOnAMiddleCard)
{
    endure({.prepare = boxAndSource({10, 20, 30}, 12), .act = writeFile(2), .windows = kDiesBeforeItsSlot});
}

TEST_F(WriteFaults, LongerFromAFile)
{
    endure({.prepare = boxAndSource({10, 20, 30}, 3000), .act = writeFile(2), .windows = kDiesBeforeItsSlot});
}

TEST_F(WriteFaults, EmptyFile)
{
    endure({.prepare = boxAndSource({10, 20, 30}, 0), .act = writeFile(2), .windows = kDiesBeforeItsSlot});
}

TEST_F(WriteFaults, EmptyFileOnTheLastCard)
{
    endure({.prepare = boxAndSource({10, 20, 30}, 0), .act = writeFile(3)});
}

// --- system cards -----------------------------------------------------------------------------------------

TEST_F(WriteFaults, SystemCardEqualLength)
{
    endure({.prepare = systemBox(20, false), .act = write(kSystem, 20)});
}

TEST_F(WriteFaults, SystemCardLastLonger)
{
    endure({.prepare = systemBox(20, true), .act = write(kSystem, 90)});
}

TEST_F(WriteFaults, SystemCardLastLongerWithALongerLengthField)
{
    endure({.prepare = systemBox(20, true), .act = write(kSystem, 300)});
}

TEST_F(WriteFaults, SystemCardLastShorter)
{
    endure({.prepare = systemBox(20, true), .act = write(kSystem, 5)});
}

TEST_F(WriteFaults, SystemCardLastLongerThanTheBuffer)
{
    endure({.prepare = systemBox(40000, true), .act = write(kSystem, 41000), .windows = kChangedInPlace});
}

TEST_F(WriteFaults, SystemCardLastOutgrowsTheBuffer)
{
    endure({.prepare = systemBox(100, true), .act = write(kSystem, 40000), .windows = kChangedInPlace});
}

TEST_F(WriteFaults, SystemCardLongerInTheMiddle)
{
    endure({.prepare = systemBox(20, false),
            .act = write(kSystem, 40),
            .windows = kSystemCardDiesBeforeItsSlot});
}

TEST_F(WriteFaults, SystemCardShorterInTheMiddle)
{
    endure({.prepare = systemBox(20, false),
            .act = write(kSystem, 10),
            .windows = kSystemCardDiesBeforeItsSlot});
}

TEST_F(WriteFaults, SystemCardEqualLengthFromAFileInTheMiddle)
{
    endure({.prepare = systemBox(20, false, 20),
            .act = writeFile(kSystem),
            .windows = kSystemCardDiesBeforeItsSlot});
}

TEST_F(WriteFaults, SystemCardEqualLengthFromAFileLast)
{
    endure({.prepare = systemBox(20, true, 20), .act = writeFile(kSystem)});
}

TEST_F(WriteFaults, SystemCardLongerFromAFileLast)
{
    endure({.prepare = systemBox(20, true, 3000), .act = writeFile(kSystem)});
}

TEST_F(WriteFaults, SystemCardLongerFromAFileThanTheBuffer)
{
    endure({.prepare = systemBox(40000, true, 41000), .act = writeFile(kSystem), .windows = kChangedInPlace});
}

TEST_F(WriteFaults, SystemCardShorterFromAFileLast)
{
    endure({.prepare = systemBox(3000, true, 100), .act = writeFile(kSystem)});
}

TEST_F(WriteFaults, SystemCardLongerFromAFileInTheMiddle)
{
    endure({.prepare = systemBox(20, false, 3000),
            .act = writeFile(kSystem),
            .windows = kSystemCardDiesBeforeItsSlot});
}

}  // namespace
