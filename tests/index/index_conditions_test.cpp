// SPDX-License-Identifier: MIT
// Conditions as records of an index: what is stored, what is compiled beside it, and what a search condition
// is read as.
#include "index/bxd_indx_condition.h"
#include "index/bxd_indx_lifecycle.h"
#include "tests/support/index_case.h"

namespace {

using namespace boxtest;

constexpr u8 kNameItem = 5;  // behind the four that every box has

class IndexConditions : public IndexCase {
protected:
    void SetUp() override { put(box({1, 2, 3})); }

    static IndexBuilder bound()
    {
        IndexBuilder index;
        index.created().record(1, kBox);
        return index;
    }
    void putIndex(const IndexBuilder& index) const { put(index.build(), kIndex); }

    // Writes a record of exactly these bytes by one of the two calls.
    static u32 write(u16 tag, const std::string& data, bool checked = true)
    {
        const std::vector<u8> exact(data.begin(), data.end());
        const auto call = checked ? _IndexInfoWriteWithCheck : _IndexInfoWrite;
        return call(kIndex, tag, exact.data(), static_cast<u16>(exact.size()));
    }
    std::optional<Bytes> searchCode() const { return view().record(128); }
    std::optional<Bytes> sortCode() const { return view().record(129); }
};

const std::string kByName = "NAME\xFE\x81";
const std::string kByTime = "cTTM\xFE\x82";

// A test of bytes, so that its compiled form does not depend on the order of letters.
const std::string kNamed = "NAME\xFE\x95\xFE\x90\x01"
                           "abc";
const Bytes kNamedCode = {0, 1, kNameItem, 0x95, 0x90, 1, 4, 0, 'a', 'b', 'c', 0, 0};
const std::string kOnePerKey = "NAME\xFE\x9E\xFE\x86\xFE\x96\x01";
const Bytes kOnePerName = {3, 1, kNameItem, 0x15, 0x9E, 0x86, 1, kNameItem, 0x15, 0x94, 0};
const Bytes kOnePerTime = {3, 1, kNameItem, 0x15, 0x9E, 0x86, 4, 2, 0x15, 0x94, 0};

const char* const kMalformed[] = {"condition", "NAME\xFE\x90\x02", "NONE\xFE\x9E", "NAME\xFE\x9E\xFE\x88",
                                  "NAME\xFE\x9E)"};

// --- sort conditions -------------------------------------------------------------------------------------

TEST_F(IndexConditions, ASortConditionIsStoredAndCompiled)
{
    putIndex(bound().entry(1));
    std::string condition = kByName + kByTime;
    for (const bool checked : {false, true}) {
        EXPECT_EQ(write(2, condition, checked), 0u);
        EXPECT_EQ(Text(*view().record(2)), condition);
        EXPECT_EQ(sortCode(), (Bytes{1, kNameItem, 0x81, 4, 2, 0x82}));
        EXPECT_EQ(searchCode(), std::nullopt);
        EXPECT_EQ(view().cardIds(), std::vector<u32>{1});
        condition.push_back('\0');
    }
}

TEST_F(IndexConditions, AMalformedSortConditionStaysStoredAndTheCheckTells)
{
    putIndex(bound().record(129, "old"));
    for (const char* text : {"condition", "NAME\xFE\x84", "NAME\xFD\x82", "NONE\xFE\x82"}) {
        EXPECT_EQ(write(2, text), 69u) << text;
        EXPECT_EQ(Text(*view().record(2)), text);
        EXPECT_EQ(write(2, text, false), 0u) << "it does not ask";
        EXPECT_EQ(sortCode(), B("old"));
    }
}

TEST_F(IndexConditions, ASortConditionOfAnyLengthHasRoomToBeCompiled)
{
    putIndex(bound());
    std::string condition;
    while (condition.size() + 6 <= BXD_INDEX_RECORD_MAX) { condition += "NAME\xFE\x82"; }
    EXPECT_EQ(write(2, condition, false), 71u);
    EXPECT_EQ(sortCode(), std::nullopt);
    condition.resize(1000 * 6);
    EXPECT_EQ(write(2, condition, false), 0u);
    EXPECT_EQ(sortCode()->size(), 3000u);
}

TEST_F(IndexConditions, ASortConditionWithoutBoxIsCompiledLater)
{
    putIndex(IndexBuilder().created());
    EXPECT_EQ(write(2, kByName), 0u);
    EXPECT_EQ(sortCode(), std::nullopt);
}

// --- search conditions -----------------------------------------------------------------------------------

TEST_F(IndexConditions, ASearchConditionIsStoredAndCompiled)
{
    putIndex(bound().entry(1).entry(2));
    std::string condition = kNamed;
    for (const bool checked : {false, true}) {
        EXPECT_EQ(write(3, condition, checked), 0u);
        EXPECT_EQ(Text(*view().record(3)), condition);
        EXPECT_EQ(searchCode(), kNamedCode);
        EXPECT_EQ(sortCode(), std::nullopt);
        EXPECT_EQ(view().cardIds(), (std::vector<u32>{1, 2}));
        condition.push_back('\0');
    }
    // Another one takes its place.
    EXPECT_EQ(write(3, "    \xFE\x9E"), 0u);
    EXPECT_EQ(searchCode(), (Bytes{6, 0xFF, 0xFF, 0x15, 0x9E, 0}));
}

TEST_F(IndexConditions, TheConstantsOfTheHeaderMakeACondition)
{
    const u8 wanted[] = {'N',
                         'A',
                         'M',
                         'E',
                         BXD_OP_MARK,
                         BXD_OP_BEGINS,
                         BXD_VALUE_TEXT,
                         'a',
                         BXD_OP_MARK,
                         BXD_OP_CLAUSE_OR,
                         'c',
                         'T',
                         'T',
                         'M',
                         BXD_OP_MARK,
                         BXD_OP_BINARY,
                         BXD_OP_MARK,
                         BXD_OP_CONTAINS,
                         BXD_VALUE_UTF8,
                         'c',
                         BXD_OP_MARK,
                         BXD_OP_AND,
                         BXD_OP_MARK,
                         BXD_OP_NOT_BLANK,
                         0};
    putIndex(bound());
    ASSERT_EQ(_IndexInfoWriteWithCheck(kIndex, IDXINF_SEARCH_EXP, wanted, sizeof wanted), 0u);
    u16 used = 0;
    const u32 a = SortConvChar(Data("a"), &used);
    EXPECT_EQ(searchCode(), (Bytes{2,
                                   1,
                                   kNameItem,
                                   0x15,
                                   0x91,
                                   1,
                                   4,
                                   0,
                                   static_cast<u8>(a),
                                   static_cast<u8>(a >> 8),
                                   0,
                                   0,
                                   0x87,
                                   4,
                                   2,
                                   0x95,
                                   0x92,
                                   17,
                                   2,
                                   0,
                                   'c',
                                   0,
                                   0x84,
                                   0x15,
                                   0x9E,
                                   0}));
}

TEST_F(IndexConditions, AMalformedSearchConditionStaysStoredAndTheCheckTells)
{
    putIndex(bound().record(128, "old"));
    for (const std::string text : kMalformed) {
        EXPECT_EQ(write(3, text), 69u) << text;
        EXPECT_EQ(Text(*view().record(3)), text);
        EXPECT_EQ(write(3, text, false), 0u) << "it does not ask";
        EXPECT_EQ(searchCode(), B("old"));
    }
    // One whose compiled form is too long is no better.
    EXPECT_EQ(write(3, kNamed + std::string(4100, 'x')), 69u);
    EXPECT_EQ(searchCode(), B("old"));
    EXPECT_EQ(write(3, kNamed + std::string(4000, 'x')), 0u);
    EXPECT_EQ(searchCode()->size(), kNamedCode.size() + 4000);
}

TEST_F(IndexConditions, AShorterConditionLeavesTheCompiledFormThatIsThere)
{
    putIndex(bound().record(128, "f").record(129, "s"));
    for (const u16 tag : {u16{2}, u16{3}}) {
        for (const char* text : {"four", "abc", ""}) {
            EXPECT_EQ(write(tag, text), 0u);
            EXPECT_EQ(Text(*view().record(static_cast<u8>(tag))), text);
        }
    }
    EXPECT_EQ(searchCode(), B("f"));
    EXPECT_EQ(sortCode(), B("s"));
    EXPECT_EQ(write(3, std::string("\0NAME", 5)), 0u);  // five bytes of an empty one
    EXPECT_EQ(searchCode(), (Bytes{0, 0}));
}

TEST_F(IndexConditions, ASearchConditionIsTakenByItsLength)
{
    putIndex(bound());
    // What the length cuts off is 0, and not what stands behind the record.
    EXPECT_EQ(write(3, "NAME\xFE\x90\x12\x01\x02"), 0u);
    EXPECT_EQ(searchCode(), (Bytes{0, 1, kNameItem, 0x15, 0x90, 18, 1, 2, 0, 0, 0}));
    EXPECT_EQ(write(3, "NAME\xFE\x90\x12"), 0u);
    EXPECT_EQ(searchCode(), (Bytes{0, 1, kNameItem, 0x15, 0x90, 18, 0, 0, 0, 0, 0}));
}

TEST_F(IndexConditions, ASearchConditionWithoutBoxIsCompiledLater)
{
    for (const IndexBuilder& index :
         {IndexBuilder().created(), IndexBuilder().created().record(1, "F0:GONE.BOX")}) {
        putIndex(index);
        EXPECT_EQ(write(3, kNamed), 0u);
        EXPECT_EQ(write(2, kByName), 0u);
        EXPECT_EQ(searchCode(), std::nullopt);
        EXPECT_EQ(sortCode(), std::nullopt);
    }
    putIndex(IndexBuilder().created().record(1, ""));
    EXPECT_EQ(write(3, kNamed), 66u);
    EXPECT_EQ(searchCode(), std::nullopt);
}

TEST_F(IndexConditions, ACopyHasItsOwnCompiledForm)
{
    putIndex(bound().record(3, "old").record(128, "old"));
    ASSERT_EQ(_IndexCopy(kIndex, "F0:COPY.IDX", 3, Data(kNamed), static_cast<u16>(kNamed.size())), 0u);
    EXPECT_EQ(view("F0:COPY.IDX").record(128), kNamedCode);
    EXPECT_EQ(searchCode(), B("old"));
    const std::string wrong = kMalformed[0];
    ASSERT_EQ(_IndexCopy(kIndex, "F0:COPY.IDX", 3, Data(wrong), static_cast<u16>(wrong.size())), 0u);
    EXPECT_EQ(view("F0:COPY.IDX").record(128), B("old"));
}

// --- the one and the other -------------------------------------------------------------------------------

TEST_F(IndexConditions, TheSearchConditionFollowsTheSortCondition)
{
    putIndex(bound());
    EXPECT_EQ(write(3, kOnePerKey), 69u);  // there are no keys yet
    EXPECT_EQ(searchCode(), std::nullopt);
    EXPECT_EQ(write(2, kByName), 0u);
    EXPECT_EQ(searchCode(), kOnePerName);
    EXPECT_EQ(write(2, kByTime), 0u);
    EXPECT_EQ(searchCode(), kOnePerTime);
    EXPECT_EQ(write(3, kOnePerKey), 0u);
    EXPECT_EQ(searchCode(), kOnePerTime);
    // A sort condition that cannot be compiled changes neither.
    EXPECT_EQ(write(2, "NONE\xFE\x82"), 69u);
    EXPECT_EQ(searchCode(), kOnePerTime);
    EXPECT_EQ(sortCode(), (Bytes{4, 2, 0x82}));
}

TEST_F(IndexConditions, AStoredSearchConditionOfAnyLengthFollows)
{
    putIndex(bound().record(3, "").record(128, "old"));
    EXPECT_EQ(write(2, kByName), 0u);
    EXPECT_EQ(searchCode(), B("old"));
    putIndex(bound().record(3, Bytes{0}).record(128, "old"));
    EXPECT_EQ(write(2, kByName), 0u);
    EXPECT_EQ(searchCode(), (Bytes{0, 0}));
    putIndex(bound().record(3, "abc").record(128, "old"));
    EXPECT_EQ(write(2, kByName), 69u);
    EXPECT_EQ(searchCode(), B("old"));
    EXPECT_EQ(sortCode(), (Bytes{1, kNameItem, 0x81}));
    EXPECT_EQ(write(2, kByName, false), 0u);
}

TEST_F(IndexConditions, OtherRecordsCompileNothing)
{
    putIndex(bound().record(2, kByName).record(3, kNamed));
    for (const u16 tag : {u16{4}, u16{32}, u16{200}}) { EXPECT_EQ(write(tag, std::string(6, 1)), 0u); }
    EXPECT_EQ(write(128, "anything"), 0u);
    EXPECT_EQ(searchCode(), B("anything"));
    EXPECT_EQ(sortCode(), std::nullopt);
}

// --- reading ---------------------------------------------------------------------------------------------

class ReadCondition : public IndexConditions {
protected:
    struct Result {
        u32 status;
        Bytes code;  // up to the last byte that is not 0
        std::string told;

        bool operator==(const Result&) const = default;
    };
    Result read(const Bytes& index) const
    {
        put(index, kIndex);
        const Fid file(kIndex);
        const Fid opened(kBox);
        const std::unique_ptr<u8[]> out(new u8[kConditionCodeMax]);
        std::memset(out.get(), 0xCC, kConditionCodeMax);
        Captured log;
        Result result{ReadSearchCondition(opened.id(), file.id(), out.get()), {}, ""};
        result.told = log.text();
        if (result.status != 0) { return result; }
        result.code.assign(out.get(), out.get() + kConditionCodeMax);
        while (!result.code.empty() && result.code.back() == 0) { result.code.pop_back(); }
        return result;
    }
    Result read(const IndexBuilder& index) const { return read(index.build()); }
    static Bytes stripped(Bytes code)
    {
        while (!code.empty() && code.back() == 0) { code.pop_back(); }
        return code;
    }
};

TEST_F(ReadCondition, TheCompiledFormIsTakenAsItIs)
{
    const Bytes code = B("anything at all");
    EXPECT_EQ(read(bound().record(3, kNamed).record(128, code)), (Result{0, code, ""}));
    EXPECT_EQ(read(IndexBuilder().record(128, code)), (Result{0, code, ""}));
}

TEST_F(ReadCondition, WithoutACompiledFormTheTextIsCompiledForTheBoxAtHand)
{
    EXPECT_EQ(read(bound().record(3, kNamed)), (Result{0, stripped(kNamedCode), ""}));
    EXPECT_EQ(read(IndexBuilder().created().record(3, kNamed)), (Result{0, stripped(kNamedCode), ""}));
    EXPECT_EQ(read(bound().record(2, kByName).record(3, kOnePerKey)), (Result{0, stripped(kOnePerName), ""}));
    EXPECT_EQ(read(bound().record(2, kByName).record(3, "\xFE\x96\x01").entry(1)),
              (Result{0, {1, 1, kNameItem, 0x15, 0x94}, ""}));
    for (const char* text : kMalformed) { EXPECT_EQ(read(bound().record(3, text)), (Result{69, {}, ""})); }
}

TEST_F(ReadCondition, AnIndexWithoutAConditionTellsWhichRecordIsMissing)
{
    const Result absent{66, {}, "ReadSearchCondition: 2074\n"};
    EXPECT_EQ(read(bound()), absent);
    EXPECT_EQ(read(bound().record(3, "")), absent);
    EXPECT_EQ(read(IndexBuilder()), absent);
    const Result empty{66, {}, "ReadSearchCondition: 2087\n"};
    EXPECT_EQ(read(bound().record(128, "")), empty);
    EXPECT_EQ(read(bound().record(3, kNamed).record(128, "")), empty);
}

TEST_F(ReadCondition, TheCompiledFormEndsWithinTheRoom)
{
    Bytes code(4095, 'x');
    EXPECT_EQ(read(bound().record(128, code)), (Result{0, code, ""}));
    EXPECT_EQ(read(bound().record(128, code + Bytes{0})), (Result{0, code, ""}));
    EXPECT_EQ(read(bound().record(128, code + Bytes{'x'})).status, 69u);
    EXPECT_EQ(read(bound().record(128, code + Bytes{0, 0})).status, 69u);
    EXPECT_EQ(read(bound().record(128, Bytes(32764, 0))).status, 69u);
}

TEST_F(ReadCondition, ARecordThatIsNotThereWholeGivesTheStatusOfTheRead)
{
    for (const IndexBuilder& index : {bound().record(128, kNamedCode), bound().record(3, kNamed)}) {
        const Bytes whole = index.build();
        EXPECT_EQ(read(Slice(whole, 0, whole.size() - 4)).status, 71u);
    }
    EXPECT_EQ(read(bound().record(3, Bytes(40000, 'x'))).status, 71u);
}

}  // namespace
