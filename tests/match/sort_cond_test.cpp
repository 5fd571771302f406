// SPDX-License-Identifier: MIT
// Sort conditions: what is accepted, what is refused, and the bytes that come of it.
#include <algorithm>

#include "tests/match/sort_case.h"

namespace {

using namespace sorttest;

constexpr u8 kLegal[] = {0x80, 0x81, 0x82, 0x83, 0x8C, 0x8D};

bool IsLegal(u32 code) { return std::count(std::begin(kLegal), std::end(kLegal), code) != 0; }

Bytes KeyText(const std::string& tag, u8 code = 0x80) { return B(tag) + Bytes{0xFE, code}; }

class SortCondition : public SortCase {
protected:
    struct Result {
        u32 status;
        u32 length;
        Bytes code;
    };

    static constexpr u32 kUntouched = 0x5A5A;

    Result convert(const Bytes& text, i32 boxId, u8 fileId = 0) const
    {
        Bytes out(200, 0xCC);
        Result result{0, kUntouched, {}};
        result.status = ConvertSortCondition(fileId, Exactly(text).data(), out.data(), boxId, &result.length);
        if (result.status == 0) { result.code = boxtest::Slice(out, 0, result.length); }
        EXPECT_EQ(out[150], 0xCC);
        return result;
    }
    Result convert(const Bytes& text) const { return convert(text, fid()); }

    static u32 precondition(const Bytes& text, SortKey* keys, u16 budget = kSortBudget)
    {
        const Bytes table = boxtest::EncodeItemTable(ItemsOfEveryType());
        return MakeSortPreCondition(Exactly(text).data(), keys, budget, Exactly(table).data());
    }

    void SetUp() override { store({}); }
};

TEST_F(SortCondition, CompilesToTypeNumberAndCode)
{
    const Bytes text = KeyText("T017", 0x83) + KeyText("mDTM", 0x81) + KeyText("T008", 0x8D) + Bytes{0};
    const Result result = convert(text);
    EXPECT_EQ(result.status, 0u);
    EXPECT_EQ(result.length, 9u);
    EXPECT_EQ(result.code, (Bytes{17, 22, 0x83, 4, 3, 0x81, 8, 13, 0x8D}));
}

TEST_F(SortCondition, AKeyOfAnyTypeCompiles)
{
    for (u8 type = 0; type <= 20; ++type) {
        const Result result = convert(KeyText(TagOf(type)) + Bytes{0});
        EXPECT_EQ(result.status, 0u);
        EXPECT_EQ(result.code, (Bytes{type, ItemOf(type), 0x80}));
    }
}

TEST_F(SortCondition, SixCodesAreLegal)
{
    for (u32 code = 0; code < 256; ++code) {
        const Bytes text = KeyText("T001", static_cast<u8>(code)) + Bytes{0};
        SortKey keys[kSortKeyArray] = {};
        EXPECT_EQ(convert(text).status, IsLegal(code) ? 0u : 69u) << code;
        EXPECT_EQ(precondition(text, keys), IsLegal(code) ? 1u : 0u) << code;
    }
}

TEST_F(SortCondition, TheMarkIsFEAndNothingElse)
{
    for (u32 mark = 0; mark < 256; ++mark) {
        const Bytes text = B("T001") + Bytes{static_cast<u8>(mark), 0x80, 0};
        SortKey keys[kSortKeyArray] = {};
        EXPECT_EQ(convert(text).status, mark == 0xFE ? 0u : 69u) << mark;
        EXPECT_EQ(precondition(text, keys), mark == 0xFE ? 1u : 0u) << mark;
    }
}

TEST_F(SortCondition, AnEmptyOneIsRefused)
{
    const Result result = convert({0});
    EXPECT_EQ(result.status, 69u);
    EXPECT_EQ(result.length, 0u);
    SortKey keys[kSortKeyArray] = {};
    keys[0].type = 99;
    EXPECT_EQ(precondition({0}, keys), 0u);
    EXPECT_EQ(keys[0].type, 0);
}

TEST_F(SortCondition, AnItemThatTheBoxLacksIsRefused)
{
    SortKey keys[kSortKeyArray] = {};
    for (const Bytes& text : {KeyText("NONE"), KeyText("T001") + KeyText("NONE"), KeyText("T01 ")}) {
        const Result result = convert(text + Bytes{0});
        EXPECT_EQ(result.status, 69u);
        EXPECT_EQ(result.length, kUntouched);
        EXPECT_EQ(precondition(text + Bytes{0}, keys), 0u);
    }
}

TEST_F(SortCondition, TheEndOfTheTextEndsAKeyTooWhereverItStands)
{
    const Bytes text = KeyText("T001") + KeyText("T017");
    SortKey keys[kSortKeyArray] = {};
    for (size_t length = 0; length <= text.size(); ++length) {
        const Bytes cut = boxtest::Slice(text, 0, length) + Bytes{0};
        const bool whole = length % 6 == 0;
        EXPECT_EQ(convert(cut).status, whole && length != 0 ? 0u : 69u) << length;
        EXPECT_EQ(precondition(cut, keys), whole ? length / 6 : 0u) << length;
    }
}

TEST_F(SortCondition, TheCaseOfATagsFirstLetterDoesNotCount)
{
    const std::vector<boxtest::Item> items = {{4, 0, "MDTM", "modified"}, {1, 0, "nAME", "name"}};
    const Bytes table = boxtest::EncodeItemTable(items);
    SortKey keys[kSortKeyArray] = {};
    const auto find = [&](const std::string& tag) {
        return MakeSortPreCondition((KeyText(tag) + Bytes{0}).data(), keys, kSortBudget, table.data());
    };
    EXPECT_EQ(find("mDTM"), 1u);
    EXPECT_EQ(keys[0].item, 1);
    EXPECT_EQ(find("NAME"), 1u);
    EXPECT_EQ(keys[0].item, 2);
    EXPECT_EQ(find("MdTM"), 0u);
    EXPECT_EQ(find("nAMe"), 0u);

    box_.reset();
    put(boxtest::BoxBuilder(items).build());
    box_.emplace(boxtest::kBox);
    EXPECT_EQ(convert(KeyText("mDTM") + Bytes{0}).code, (Bytes{4, 1, 0x80}));
    EXPECT_EQ(convert(KeyText("MdTM") + Bytes{0}).status, 69u);
}

TEST_F(SortCondition, TheCompiledFormHasNoLimitOfItsOwn)
{
    const Result result = convert(Repeat(KeyText("T001"), 13) + Bytes{0});
    EXPECT_EQ(result.status, 0u);
    EXPECT_EQ(result.code, Repeat({1, 6, 0x80}, 13));
}

TEST_F(SortCondition, ABoxWithoutItemsGivesItsStatus)
{
    box_.reset();
    put(boxtest::NewBoxImage("TEST"));
    box_.emplace(boxtest::kBox);
    EXPECT_EQ(convert(KeyText("T001") + Bytes{0}).status, 66u);
}

// --- keys in memory --------------------------------------------------------------------------------------

TEST_F(SortCondition, KeysComeWithoutValues)
{
    SortKey keys[kSortKeyArray];
    std::memset(keys, 0xCC, sizeof keys);
    EXPECT_EQ(precondition(KeyText("T017", 0x83) + KeyText("T008", 0x81) + Bytes{0}, keys), 2u);
    for (int n = 0; n < 2; ++n) {
        EXPECT_EQ(keys[n].addr, 0u);
        EXPECT_EQ(keys[n].len, 0u);
        EXPECT_EQ(GET_2BYTES(keys[n].first), 0u);
        EXPECT_EQ(keys[n].tail, nullptr);
    }
    EXPECT_EQ(keys[0].type, 17);
    EXPECT_EQ(keys[0].item, 22);
    EXPECT_EQ(keys[0].code, 0x83);
    EXPECT_EQ(keys[1].type, 8);
    EXPECT_EQ(keys[1].item, 13);
    EXPECT_EQ(keys[1].code, 0x81);
    EXPECT_EQ(keys[2].type, 0);
    EXPECT_EQ(keys[2].item, 0xCC);
}

TEST_F(SortCondition, TheBudgetOfASortHoldsTwelveKeys)
{
    SortKey keys[kSortKeyArray] = {};
    EXPECT_EQ(kSortKeyArray, 13u);
    EXPECT_EQ(precondition(Repeat(KeyText("T001"), 12) + Bytes{0}, keys), 12u);
    EXPECT_EQ(keys[12].type, 0);
    EXPECT_EQ(precondition(Repeat(KeyText("T001"), 13) + Bytes{0}, keys), 0u);
}

TEST_F(SortCondition, SomethingOfTheBudgetMustBeLeftForTheEnd)
{
    SortKey keys[kSortKeyArray] = {};
    const Bytes one = KeyText("T001") + Bytes{0};
    const Bytes two = KeyText("T001") + KeyText("T001") + Bytes{0};
    EXPECT_EQ(precondition(one, keys, 83), 0u);
    EXPECT_EQ(precondition(one, keys, 84), 0u);
    EXPECT_EQ(precondition(one, keys, 85), 1u);
    EXPECT_EQ(precondition(two, keys, 168), 0u);
    EXPECT_EQ(precondition(two, keys, 169), 2u);
    // A rest above 0x7FFE passes for one that has gone below zero.
    EXPECT_EQ(precondition(one, keys, 0x7FFE + 84), 1u);
    EXPECT_EQ(precondition(one, keys, 0x7FFF + 84), 0u);
}

TEST_F(SortCondition, WithoutABudgetNothingIsWritten)
{
    SortKey key{};
    key.type = 77;
    EXPECT_EQ(precondition({0}, &key, 0), 0u);
    EXPECT_EQ(key.type, 77);
}

// --- the compiled form as keys ---------------------------------------------------------------------------

class SortCode : public SortCondition {
protected:
    // The bytes at position 100 of a file.
    u32 load(const Bytes& code, SortKey* keys, u32 more = 0)
    {
        put(Bytes(100, 0xAB) + code, "F0:CODE.IDX");
        boxtest::Fid file("F0:CODE.IDX");
        return bxd::LoadSortCode(file.id(), 100, static_cast<u32>(code.size()) + more, keys);
    }
};

TEST_F(SortCode, EachThreeBytesAreAKey)
{
    SortKey keys[kSortKeyArray];
    std::memset(keys, 0xCC, sizeof keys);
    EXPECT_EQ(load({17, 22, 0x83, 8, 13, 0x81}, keys), 0u);
    EXPECT_EQ(keys[0].type, 17);
    EXPECT_EQ(keys[0].item, 22);
    EXPECT_EQ(keys[0].code, 0x83);
    EXPECT_EQ(keys[0].tail, nullptr);
    EXPECT_EQ(keys[0].addr, 0u);
    EXPECT_EQ(keys[0].len, 0u);
    EXPECT_EQ(keys[1].type, 8);
    EXPECT_EQ(keys[1].item, 13);
    EXPECT_EQ(keys[1].code, 0x81);
    EXPECT_EQ(keys[2].type, 0);
}

TEST_F(SortCode, MoreThanTwelveKeysAreRefusedAndNothingIsOverrun)
{
    SortKey keys[kSortKeyArray];
    EXPECT_EQ(load(Repeat({1, 6, 0x80}, 12), keys), 0u);
    EXPECT_EQ(keys[11].type, 1);
    EXPECT_EQ(keys[12].type, 0);
    std::memset(keys, 0xCC, sizeof keys);
    for (size_t count : {13u, 14u, 21845u}) {
        EXPECT_EQ(load(Repeat({1, 6, 0x80}, count), keys), 69u);
        EXPECT_EQ(keys[0].type, 0xCC);
        EXPECT_EQ(keys[12].type, 0xCC);
    }
}

TEST_F(SortCode, ALengthThatIsNoNumberOfKeysIsRefused)
{
    SortKey keys[kSortKeyArray];
    for (size_t length : {1u, 2u, 4u, 35u, 37u}) { EXPECT_EQ(load(Bytes(length, 1), keys), 69u) << length; }
    EXPECT_EQ(load({}, keys), 0u);
    EXPECT_EQ(keys[0].type, 0);
}

TEST_F(SortCode, AReadThatFailsGivesItsStatus)
{
    SortKey keys[kSortKeyArray] = {};
    EXPECT_EQ(load({1, 6, 0x80}, keys, 3), 71u);
    EXPECT_EQ(load({}, keys, 3), 71u);
}

// --- the box of an index ---------------------------------------------------------------------------------

class SortConditionOfIndex : public SortCondition {
protected:
    static Bytes IndexWith(const Bytes& records, u32 infoPos = 24)
    {
        Bytes out = {0xFF, 0x00, 0x1B, 0x30};
        boxtest::Add32(out, boxtest::kNone);
        boxtest::Add32(out, infoPos);
        out = out + Bytes{0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0};
        return out + records + Bytes{0};
    }
    static Bytes NameRecord(const Bytes& name)
    {
        Bytes out = {1};
        boxtest::Add16(out, static_cast<u32>(name.size()));
        return out + name;
    }

    Result convertFor(const Bytes& index, const Bytes& text = KeyText("T008", 0x81) + Bytes{0})
    {
        put(index, "F0:A.IDX");
        boxtest::Fid file("F0:A.IDX");
        const u32 before = boxtest::OpenFiles();
        Result result = convert(text, -1, file.id());
        EXPECT_EQ(boxtest::OpenFiles(), before);
        return result;
    }
};

TEST_F(SortConditionOfIndex, TheBoxIsFoundByTheNameInTheIndex)
{
    for (const char* name : {"TEST.BOX", "F0:TEST.BOX"}) {
        const Result result = convertFor(IndexWith(Bytes{33, 2, 0, 'e', 'n'} + NameRecord(B(name))));
        EXPECT_EQ(result.status, 0u) << name;
        EXPECT_EQ(result.code, (Bytes{8, 13, 0x81})) << name;
    }
}

TEST_F(SortConditionOfIndex, AMalformedConditionClosesTheBox)
{
    EXPECT_EQ(convertFor(IndexWith(NameRecord(B("TEST.BOX"))), KeyText("NONE") + Bytes{0}).status, 69u);
    EXPECT_EQ(convertFor(IndexWith(NameRecord(B("TEST.BOX"))), {0}).status, 69u);
}

TEST_F(SortConditionOfIndex, AnIndexWithoutABoxHasNoFile)
{
    EXPECT_EQ(convertFor(IndexWith(Bytes{33, 2, 0, 'e', 'n'})).status, 64u);
    EXPECT_EQ(convertFor(IndexWith({}, boxtest::kNone)).status, 64u);
}

TEST_F(SortConditionOfIndex, AnEmptyNameIsNotFound)
{
    EXPECT_EQ(convertFor(IndexWith(NameRecord({}))).status, 66u);
}

TEST_F(SortConditionOfIndex, ABoxThatDoesNotOpenGivesTheStatusOfTheOpen)
{
    EXPECT_EQ(convertFor(IndexWith(NameRecord(B("GONE.BOX")))).status, 64u);
    put(Bytes(100, 0), "F0:ZERO.BOX");
    EXPECT_EQ(convertFor(IndexWith(NameRecord(B("ZERO.BOX")))).status, 64u);
    put({0xFF, 0x00}, "F0:STUB.BOX");
    EXPECT_EQ(convertFor(IndexWith(NameRecord(B("STUB.BOX")))).status, 66u);
}

TEST_F(SortConditionOfIndex, ABoxWithoutItemsIsNotFound)
{
    put(boxtest::NewBoxImage("TEST"), "F0:NEW.BOX");
    EXPECT_EQ(convertFor(IndexWith(NameRecord(B("NEW.BOX")))).status, 66u);
}

TEST_F(SortConditionOfIndex, ANameThatIsNotThereWholeGivesTheStatusOfTheRead)
{
    EXPECT_EQ(convertFor(IndexWith({1, 200, 0, 'T', 'E'})).status, 71u);
}

TEST_F(SortConditionOfIndex, ANameThatNoFileCanHaveHasNoFile)
{
    for (size_t length : {250u, 253u, 255u, 256u, 32764u}) {
        EXPECT_EQ(convertFor(IndexWith(NameRecord(Bytes(length, 'N')))).status, 64u) << length;
    }
}

TEST_F(SortConditionOfIndex, ARecordLongerThanOneMayBeIsDamage)
{
    EXPECT_EQ(convertFor(IndexWith(NameRecord(Bytes(60000, 'N')))).status, 71u);
}

TEST_F(SortConditionOfIndex, ANameEndsAtATerminator)
{
    EXPECT_EQ(convertFor(IndexWith(NameRecord(B("TEST.BOX") + Bytes{0, 'X', 'Y'}))).status, 0u);
}

TEST_F(SortConditionOfIndex, AFileIdThatIsNotOpenHasNoFile)
{
    EXPECT_EQ(convert(KeyText("T001") + Bytes{0}, -1, 200).status, 64u);
}

}  // namespace
