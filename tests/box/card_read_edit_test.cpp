// SPDX-License-Identifier: MIT
// Reading system cards, and the card under edit in memory and in the file.
#include "box/bxd_card_read.h"

#include <memory>

#include "box/bxd_card_slots.h"
#include "tests/box/card_read_case.h"

using namespace boxtest;

namespace {

class SystemCardRead : public BoxCase {};
class EditCardRead : public BoxCase {};

// --- system cards ------------------------------------------------------------------------------------------

TEST_F(SystemCardRead, FindsEachOfTen)
{
    BoxBuilder builder = NumberedBox(1);
    const u32 ids[10] = {65519, 65281, 65400, 65300, 65282, 65518, 65333, 65444, 65500, 65290};
    for (u32 n = 0; n < 10; n++) {
        builder.systemCard(n + 1, ids[n], builder.row({{"I000", Numbered(ids[n])}}));
    }
    put(builder.build());
    ASSERT_TRUE(IsSound(get()));
    OpenBox box(kBox, 1);
    for (u32 id : ids) { EXPECT_EQ(Read(box.handle(), id, "I000", 32), Whole(Numbered(id))); }
    EXPECT_EQ(Status(box.handle(), 65283), 66u);
    EXPECT_EQ(Status(box.handle(), 65280), 66u);
    EXPECT_EQ(Status(box.handle(), 65535), 66u);
}

TEST_F(SystemCardRead, PassesOverEmptySlots)
{
    BoxBuilder builder = NumberedBox(1);
    builder.systemCard(7, 65300, builder.row({{"I000", B("seventh")}}));
    Bytes file = builder.build();
    Put32(file, DefaultWordAt(1), 0);
    Put32(file, DefaultWordAt(6), 0);
    put(file);
    OpenBox box(kBox);
    EXPECT_EQ(Read(box.handle(), 65300, "I000", 32), Whole(B("seventh")));
}

TEST_F(SystemCardRead, FindsNothingInABoxWithoutCards)
{
    put(BoxBuilder(NumberedItems(6)).build());
    OpenBox box(kBox);
    EXPECT_EQ(Status(box.handle(), 65300), 66u);
    EXPECT_EQ(Status(box.handle(), 1), 66u);
}

TEST_F(SystemCardRead, StopsAtASlotThatCannotBeRead)
{
    BoxBuilder builder = NumberedBox(1);
    builder.systemCard(2, 65300, builder.row({{"I000", B("second")}}));
    builder.systemCard(4, 65301, builder.row({{"I000", B("fourth")}}));
    Bytes file = builder.build();
    Put32(file, DefaultWordAt(3), static_cast<u32>(file.size()) + 100);
    put(file);
    OpenBox box(kBox);
    EXPECT_EQ(Status(box.handle(), 65300), 0u);
    EXPECT_EQ(Status(box.handle(), 65301), 71u);
    EXPECT_EQ(Status(box.handle(), 65302), 71u);
}

TEST_F(SystemCardRead, TheSlotLookUpTellsPlaceSizeAndSlot)
{
    BoxBuilder builder = NumberedBox(1);
    builder.systemCard(3, 65300, builder.row());
    const u32 pos = builder.systemCard(9, 65301, builder.row({{"I000", B("ninth")}}));
    const Bytes file = builder.build();
    put(file);
    u32 slots[10];
    for (u32 n = 0; n < 10; n++) { slots[n] = Get32(file, DefaultWordAt(n + 1)); }
    Fid fid(kBox);
    u32 cardOffset = 99, cardSize = 0;
    u8 slot = 0;
    EXPECT_EQ(GetSystemCardOffset(fid.id(), 65301, slots, &cardOffset, &cardSize, &slot), 0u);
    EXPECT_EQ(cardOffset, pos);
    EXPECT_EQ(cardSize, Get32(file, pos + 2) + 6);
    EXPECT_EQ(slot, 9);
    EXPECT_EQ(GetSystemCardOffset(fid.id(), 65302, slots, &cardOffset, &cardSize, &slot), 0u);
    EXPECT_EQ(cardOffset, 0u);
    slots[5] = 1u << 30;
    EXPECT_EQ(GetSystemCardOffset(fid.id(), 65301, slots, &cardOffset, &cardSize, &slot), 71u);
    EXPECT_EQ(GetSystemCardOffset(fid.id(), 65300, slots, &cardOffset, &cardSize, &slot), 0u);
    EXPECT_EQ(slot, 3);
}

// --- the card under edit -----------------------------------------------------------------------------------

// A box with system card 65300 and an image of card `editId` in memory.
class EditInMemory : public EditCardRead {
protected:
    void open(u32 editId)
    {
        builder_.card(1, builder_.row({{"I000", B("stored")}}));
        builder_.systemCard(1, 65300, builder_.row({{"I000", B("system")}}));
        put(builder_.build());
        box_ = std::make_unique<OpenBox>(kBox);
        LoadImage(box_->record(), editId,
                  EncodeCard(editId, builder_.row({{"I000", B("abcdef")}, {"I002", Bytes(300, 'm')}})));
    }
    void TearDown() override
    {
        box_->record()->tmpCardState = kTmpCardNone;
        box_.reset();
    }
    BoxHandle box() { return box_->handle(); }

    BoxBuilder builder_{NumberedItems(7)};
    std::unique_ptr<OpenBox> box_;
};

TEST_F(EditInMemory, IsReadFromThere)
{
    open(kEditId);
    EXPECT_EQ(Read(box(), kEditId, "I000", 32), Whole(B("abcdef")));
    EXPECT_EQ(Read(box(), kEditId, "I002", 500), Whole(Bytes(300, 'm')));
    EXPECT_EQ(Read(box(), kEditId, "I001", 32), Whole({}));
    EXPECT_EQ(Read(box(), kEditId, "ATTR", 32), Whole({0}));
}

TEST_F(EditInMemory, IsReadInPartsByTheSameRules)
{
    open(kEditId);
    EXPECT_EQ(Read(box(), kEditId, "I000", 0), (Got{68, 6, {}}));
    EXPECT_EQ(Read(box(), kEditId, "I000", 4), (Got{68, 6, B("abcd")}));
    EXPECT_EQ(ReadAt(box(), kEditId, "I000", 10, 4), Whole(B("ef")));
    EXPECT_EQ(ReadAt(box(), kEditId, "I000", 10, 6).status, 35u);
    EXPECT_EQ(ReadAt(box(), kEditId, "I001", 10, 0).status, 35u);
    EXPECT_EQ(Read(box(), kEditId, "XXXX", 4).status, 66u);
}

TEST_F(EditInMemory, DoesNotHideOtherCards)
{
    open(kEditId);
    EXPECT_EQ(Read(box(), 1, "I000", 32), Whole(B("stored")));
    EXPECT_EQ(Read(box(), 65300, "I000", 32), Whole(B("system")));
    EXPECT_EQ(Status(box(), 65301), 66u);
}

TEST_F(EditInMemory, UnderASystemIdHidesTheStoredOne)
{
    open(65300);
    EXPECT_EQ(Read(box(), 65300, "I000", 32), Whole(B("abcdef")));
    EXPECT_EQ(Status(box(), kEditId), 66u);
}

TEST_F(EditInMemory, WithoutAnImageFails)
{
    open(kEditId);
    u8** const kept = box_->record()->tmpCardWork;
    box_->record()->tmpCardWork = nullptr;
    EXPECT_EQ(Status(box(), kEditId), 71u);
    EXPECT_EQ(Status(box(), 65300), 0u);
    box_->record()->tmpCardWork = kept;
}

TEST_F(EditInMemory, IsPreferredToOneInTheFile)
{
    open(kEditId);
    builder_ = BoxBuilder(NumberedItems(7));
    const u32 pos = builder_.editCard(builder_.row({{"I000", B("in file")}}));
    put(builder_.build());
    box_->record()->tmpCardState = 3;
    box_->record()->tmpCardOffset = pos;
    EXPECT_EQ(Read(box(), kEditId, "I000", 32), Whole(B("abcdef")));
    EXPECT_EQ(Read(box(), 65300, "I000", 32), Whole(B("in file")));
}

// A box with a card under edit in the file.
class EditInFile : public EditCardRead {
protected:
    void SetUp() override
    {
        BoxBuilder builder(NumberedItems(6));
        builder.card(1, builder.row({{"I000", B("stored")}}));
        builder.systemCard(1, 65300, builder.row({{"I000", B("system")}}));
        pos_ = builder.editCard(builder.row({{"I000", B("edited")}}));
        put(builder.build());
        box_ = std::make_unique<OpenBox>(kBox);
        box_->record()->tmpCardState = kTmpCardInFile;
        box_->record()->tmpCardId = kEditId;
        box_->record()->tmpCardOffset = pos_;
    }
    void TearDown() override
    {
        box_->record()->tmpCardState = kTmpCardNone;
        box_.reset();
    }
    BoxHandle box() { return box_->handle(); }

    u32 pos_ = 0;
    std::unique_ptr<OpenBox> box_;
};

TEST_F(EditInFile, IsReadFromThere)
{
    EXPECT_EQ(Read(box(), kEditId, "I000", 32), Whole(B("edited")));
    EXPECT_EQ(Read(box(), kEditId, "ATTR", 1), Whole({0}));
    EXPECT_EQ(ReadAt(box(), kEditId, "I000", 3, 2), Whole(B("ite")));
}

TEST_F(EditInFile, AnswersForEverySystemId)
{
    EXPECT_EQ(Read(box(), 65300, "I000", 32), Whole(B("edited")));
    EXPECT_EQ(Read(box(), 65519, "I000", 32), Whole(B("edited")));
    EXPECT_EQ(Read(box(), 1, "I000", 32), Whole(B("stored")));
}

TEST_F(EditInFile, HasGoneAfterACollection)
{
    Bytes file = get();
    SetField(file, hd::garbageFlags, 0x81);
    put(file);
    EXPECT_EQ(ChkTmpSysCard(box_->record()), 255u);
    EXPECT_EQ(Status(box(), kEditId), 255u);
    EXPECT_EQ(Status(box(), 65300), 255u);
    EXPECT_EQ(Status(box(), 1), 0u);
}

TEST_F(EditInFile, MustBearItsId)
{
    EXPECT_EQ(ChkTmpSysCard(box_->record()), 0u);
    const u32 end = static_cast<u32>(get().size());
    for (u32 pos : {pos_ + 1, pos_ - 1, end, end - 1, end + 100, kNone, 0u}) {
        box_->record()->tmpCardOffset = pos;
        EXPECT_EQ(ChkTmpSysCard(box_->record()), 71u) << pos;
        EXPECT_EQ(Status(box(), kEditId), 71u) << pos;
    }
}

}  // namespace
