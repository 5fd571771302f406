// SPDX-License-Identifier: MIT
// Where items lie in a card of the file and in an image.
#include "box/bxd_card_read.h"

#include "tests/box/card_read_case.h"

using namespace boxtest;

namespace {

class ItemPlaces : public BoxCase {};
class ImageItems : public BoxCase {};

// --- places ------------------------------------------------------------------------------------------------

// A card with length fields of all three forms; its items begin within the first 256 bytes and end beyond.
class PlacesOfACard : public ItemPlaces {
protected:
    void SetUp() override
    {
        values_ = {{0x40}, {}, B("0123456789"), Pattern(200), Pattern(20000, 3), B("end"), {}};
        BoxBuilder builder(NumberedItems(7));
        pos_ = builder.card(1, values_);
        builder.card(2, builder.row());
        last_ = builder.card(3, builder.row({{"I000", B("xyz")}}));
        put(builder.build());
    }
    std::vector<Bytes> values_;
    u32 pos_ = 0;
    u32 last_ = 0;
};

TEST_F(PlacesOfACard, TellDataAndLengthField)
{
    Fid fid(kBox);
    const u32 sizes[7] = {1, 1, 1, 2, 4, 1, 1};
    u32 lengthOffset = pos_ + 10;
    u32 dataOffset = pos_ + 10 + 11;
    for (u8 n = 1; n <= 7; n++) {
        const size_t i = n - size_t{1};
        CardItemPlace place{};
        EXPECT_EQ(MoveXItemData(fid.id(), &place, n, pos_), dataOffset) << unsigned{n};
        EXPECT_EQ(place.dataOffset, dataOffset);
        EXPECT_EQ(place.dataLength, values_[i].size());
        EXPECT_EQ(place.lengthSize, sizes[i]);
        EXPECT_EQ(place.lengthOffset, lengthOffset);
        CardItemPlace same{};
        EXPECT_EQ(ReadItemData(fid.id(), &same, n, pos_, 0, nullptr), dataOffset);
        EXPECT_EQ(std::memcmp(&place, &same, sizeof place), 0);
        lengthOffset += sizes[i];
        dataOffset += static_cast<u32>(values_[i].size());
    }
}

TEST_F(PlacesOfACard, OfTheLastCardOfTheFile)
{
    Fid fid(kBox);
    CardItemPlace place{};
    EXPECT_EQ(MoveXItemData(fid.id(), &place, 5, last_), last_ + 10 + 7 + 1);
    EXPECT_EQ(place.dataLength, 3u);
    EXPECT_EQ(MoveXItemData(fid.id(), &place, 7, last_), last_ + 10 + 7 + 1 + 3);
    EXPECT_EQ(place.dataLength, 0u);
}

TEST_F(PlacesOfACard, OfNoItemOrNoCardFail)
{
    Fid fid(kBox);
    CardItemPlace place{};
    u8 buf[8];
    const u32 size = static_cast<u32>(get().size());
    EXPECT_EQ(MoveXItemData(fid.id(), &place, 0, pos_), 0u);
    EXPECT_EQ(ReadItemData(fid.id(), &place, 0, pos_, 8, buf), 0u);
    for (u32 pos : {size, size + 50, kNone, kNone - 7}) {
        EXPECT_EQ(MoveXItemData(fid.id(), &place, 1, pos), 0u) << pos;
        EXPECT_EQ(ReadItemData(fid.id(), &place, 1, pos, 8, buf), 0u) << pos;
    }
    EXPECT_EQ(MoveXItemData(77, &place, 1, pos_), 0u);
}

TEST_F(PlacesOfACard, ComeWithTheFirstBytesOfTheValue)
{
    Fid fid(kBox);
    for (u8 n = 1; n <= 7; n++) {
        const Bytes& value = values_[n - size_t{1}];
        for (u32 want : {1u, 3u, 10u, 64u, 199u, 200u, 201u, 260u, 30000u}) {
            const size_t given = std::min<size_t>(want, value.size());
            Bytes buf(given);  // not a byte more may be written
            CardItemPlace place{};
            ASSERT_NE(ReadItemData(fid.id(), &place, n, pos_, want, buf.data()), 0u);
            EXPECT_EQ(place.dataLength, value.size());
            EXPECT_TRUE(SameBytes(Slice(value, 0, want), buf)) << unsigned{n} << " " << want;
        }
    }
}

TEST_F(ItemPlaces, AroundTheEndOfTheFirstRead)
{
    // 256 bytes from byte 8 on: the second value ends before, at, and behind that.
    for (size_t before = 225; before <= 250; before++) {
        BoxBuilder builder(NumberedItems(6));
        const Bytes value = Pattern(16, static_cast<u32>(before));
        const u32 pos = builder.card(1, builder.row({{"I000", Bytes(before, 'b')}, {"I001", value}}));
        put(builder.build());
        Fid fid(kBox);
        Bytes buf(16);
        CardItemPlace place{};
        ASSERT_NE(ReadItemData(fid.id(), &place, 6, pos, 16, buf.data()), 0u) << before;
        EXPECT_TRUE(SameBytes(value, buf)) << before;
    }
}

TEST_F(ItemPlaces, OfALengthTableBeyondTheFirstRead)
{
    CardForm form;
    form.lengthForm = 4;
    BoxBuilder builder(NumberedItems(255));
    std::vector<Bytes> values(255);
    for (u32 n = 0; n < 255; n++) { values[n] = Pattern(n == 0 ? 1 : 3, n); }
    const u32 pos = builder.card(1, values, form);
    put(builder.build());
    Fid fid(kBox);
    for (u32 n : {1u, 60u, 62u, 63u, 64u, 65u, 66u, 127u, 128u, 192u, 254u, 255u}) {
        CardItemPlace place{};
        Bytes buf(values[n - 1].size());
        const u32 data = pos + 10 + 255 * 4 + 1 + (n - 2) * 3;
        EXPECT_EQ(ReadItemData(fid.id(), &place, static_cast<u8>(n), pos, 3, buf.data()),
                  n == 1 ? data + 2 : data)
            << n;
        EXPECT_EQ(place.lengthOffset, pos + 10 + (n - 1) * 4);
        EXPECT_EQ(place.lengthSize, 4u);
        EXPECT_EQ(buf, values[n - 1]) << n;
    }
}

TEST_F(ItemPlaces, NeverLeaveTheCard)
{
    BoxBuilder builder(NumberedItems(6));
    const u32 pos = builder.card(1, builder.row({{"I000", B("value")}}));
    builder.card(2, builder.row({{"I001", Bytes(1000, 'o')}}));
    const Bytes sound = builder.build();
    for (u8 lie : {u8{0x7F}, u8{0x81}, u8{0xBF}, u8{0xC0}, u8{0xFF}}) {
        Bytes file = sound;
        file[pos + 10 + 4] = lie;
        put(file);
        Fid fid(kBox);
        CardItemPlace place{};
        Bytes buf(2000);
        EXPECT_EQ(MoveXItemData(fid.id(), &place, 5, pos), 0u) << unsigned{lie};
        EXPECT_EQ(ReadItemData(fid.id(), &place, 6, pos, 2000, buf.data()), 0u) << unsigned{lie};
        EXPECT_NE(MoveXItemData(fid.id(), &place, 4, pos), 0u) << unsigned{lie};
    }
}

TEST_F(ImageItems, AreFoundByNumber)
{
    BoxBuilder builder(NumberedItems(7));
    put(builder.build());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    const std::vector<Bytes> values{{0x40},   {}, B("0123456789"), Pattern(200), Pattern(20000, 3),
                                    B("end"), {}};
    Bytes image = EncodeCard(kEditId, values);
    u8* wantLength = image.data() + 10;
    u8* wantData = image.data() + 10 + 11;
    const u32 sizes[7] = {1, 1, 1, 2, 4, 1, 1};
    for (u16 n = 1; n <= 7; n++) {
        const size_t i = n - size_t{1};
        u8* data = nullptr;
        u8* length = nullptr;
        EXPECT_EQ(MoveXItemNumberRam(image.data(), n, box.record(), &data, &length), values[i].size());
        EXPECT_EQ(data, wantData) << n;
        EXPECT_EQ(length, wantLength) << n;
        wantLength += sizes[i];
        wantData += values[i].size();
    }
}

TEST_F(ImageItems, OfANumberThatTheBoxLacksAreNull)
{
    BoxBuilder builder(NumberedItems(5));
    put(builder.build());
    OpenBox box(kBox);
    ASSERT_TRUE(box.ok());
    Bytes image = EncodeCard(kEditId, builder.row());
    for (u16 n : {u16{0}, u16{6}, u16{255}, u16{256}, u16{257}, u16{0xFFFF}}) {
        u8* data = image.data();
        u8* length = image.data();
        EXPECT_EQ(MoveXItemNumberRam(image.data(), n, box.record(), &data, &length), 0u) << n;
        EXPECT_EQ(data, nullptr) << n;
    }
}

}  // namespace
