// SPDX-License-Identifier: MIT
// The life of index files beside their box: made, bound, copied, deleted.
#include "index/bxd_indx_lifecycle.h"

#include <bxd/language.h>

#include "index/bxd_indx_info.h"
#include "storage/bxd_file_errors.h"
#include "tests/support/index_case.h"

namespace {

using namespace boxtest;

class IndexLife : public IndexCase {
protected:
    ~IndexLife() override { BxdSetLanguage(""); }
};

// --- creation --------------------------------------------------------------------------------------------

TEST_F(IndexLife, ANewIndexHasLanguageAndVersionAndNoTable)
{
    for (u32 code = 0; code < 256; code++) {
        ASSERT_EQ(_IndexCreate(kIndex, static_cast<u8>(code)), 0u);
        const Bytes want = IndexBuilder(code == 18 ? kListKind : kMasterKind).created().build();
        ASSERT_EQ(want.size(), 34u);
        ASSERT_TRUE(SameBytes(want, get(kIndex))) << code;
        ASSERT_EQ(unlink(path(kIndex).c_str()), 0);
    }
}

TEST_F(IndexLife, TheLanguageIsTheOneThatIsSet)
{
    BxdSetLanguage("ja");
    ASSERT_EQ(_IndexCreate(kIndex, 17), 0u);
    EXPECT_EQ(view().record(33), B("ja"));
    ASSERT_EQ(_IndexDelete(kIndex), 66u);
    BxdSetLanguage("fran");
    ASSERT_EQ(_IndexCreate(kIndex, 17), 0u);
    EXPECT_EQ(view().record(33), B("fr"));
}

TEST_F(IndexLife, AnExistingNameIsNotMadeAnew)
{
    for (const Bytes& before : {box({1}), B("x"), Bytes{}}) {
        put(before, kIndex);
        EXPECT_EQ(_IndexCreate(kIndex, 17), 67u);
        EXPECT_TRUE(SameBytes(before, get(kIndex)));
    }
    folder("F0:DIR.IDX");
    EXPECT_EQ(_IndexCreate("F0:DIR.IDX", 17), 67u);
}

TEST_F(IndexLife, ANameThatCannotBeMadeIsRefused)
{
    EXPECT_EQ(_IndexCreate("F0:/none/A.IDX", 17), 71u);
    EXPECT_EQ(_IndexCreate("", 17), 71u);
    EXPECT_EQ(_IndexCreate(("F0:" + std::string(253, 'n')).c_str(), 17), 71u);
    EXPECT_EQ(_IndexCreate(std::string(256, 'n').c_str(), 17), 71u);
    EXPECT_EQ(_IndexCreate(std::string(5000, 'n').c_str(), 17), 71u);
}

TEST_F(IndexLife, AllStreamsTakenLeavesNothingBehind)
{
    put(B("x"), "F0:OTHER");
    std::vector<std::unique_ptr<Fid>> open;
    for (int n = 0; n < 10; n++) { open.push_back(std::make_unique<Fid>("F0:OTHER")); }
    EXPECT_EQ(_IndexCreate(kIndex, 17), 71u);
    EXPECT_FALSE(exists(kIndex));
    open.pop_back();
    EXPECT_EQ(_IndexCreate(kIndex, 17), 0u);
}

// --- the three forms of a name, through a whole life -----------------------------------------------------

struct Form {
    const char *box, *index, *stored;
    u8 form;
};

class IndexForms : public IndexCase, public ::testing::WithParamInterface<Form> {};

TEST_P(IndexForms, BoxAndIndexFindEachOther)
{
    const Form& f = GetParam();
    folder("F0:/x");
    folder("F0:/y");
    put(box({1, 2}), f.box);
    ASSERT_EQ(Bind(f.index, f.box), 0u);
    EXPECT_TRUE(SameBytes(IndexBuilder().created().record(1, f.box).build(), get(f.index)));
    const NameTable bound = table(f.box);
    ASSERT_EQ(bound.entries.size(), 1u);
    EXPECT_EQ(bound.entries[0].name, f.stored);
    EXPECT_EQ(bound.entries[0].nameType, f.form);
    EXPECT_EQ(bound.entries[0].indexFileId, 27);

    char name[256];
    u32 isMaster = 0;
    EXPECT_EQ(_GetIndexName(f.box, 1, name, sizeof name, &isMaster), 0u);
    EXPECT_STREQ(name, f.index);
    EXPECT_EQ(isMaster, 1u);
    EXPECT_EQ(_GetMasterIndex(f.box, name), 0u);
    EXPECT_STREQ(name, f.stored);

    // Type and mode reach the box; a second index stands behind, and in the way of nobody.
    EXPECT_EQ(WriteByte(f.index, IDXINF_TYPE, 0x82), 0u);
    EXPECT_EQ(WriteByte(f.index, IDXINF_UPDATE_MODE, 2), 0u);
    EXPECT_EQ(table(f.box).entries.size(), 1u);
    EXPECT_EQ(table(f.box).entries[0].flags, 0x82);
    EXPECT_EQ(table(f.box).entries[0].flags2, 2);
    const std::string other = std::string(f.index) + "2";
    ASSERT_EQ(Bind(other, f.box, BXD_INDEX_LIST), 0u);
    EXPECT_EQ(registered(f.box).size(), 2u);
    EXPECT_EQ(_IndexDelete(f.index), 0u);
    EXPECT_FALSE(exists(f.index));
    EXPECT_EQ(registered(f.box).size(), 1u);
    EXPECT_EQ(_GetMasterIndex(f.box, name), 66u);

    EXPECT_EQ(_BoxDelete(f.box), 0u);
    EXPECT_FALSE(exists(f.box));
    EXPECT_FALSE(exists(other));
}

INSTANTIATE_TEST_SUITE_P(Names, IndexForms,
                         ::testing::Values(Form{"F0:A.BOX", "F0:A.IDX", "A.IDX", 1},
                                           Form{"F0:/x/A.BOX", "F0:/x/A.IDX", "A.IDX", 1},
                                           Form{"F0:/y/A.BOX", "F0:/x/A.IDX", "/x/A.IDX", 2},
                                           Form{"F0:/y/A.BOX", "F0:A.IDX", "A.IDX", 2},
                                           Form{"F1:/x/A.BOX", "F0:/x/A.IDX", "F0:/x/A.IDX", 3},
                                           Form{"F1:A.BOX", "F0:A.IDX", "F0:A.IDX", 3}));

TEST_F(IndexLife, PlainPathsWorkToo)
{
    const std::string one = home_.home() + "/boxes/A.BOX";
    const std::string two = home_.home() + "/boxes/A.IDX";
    const std::string far = dir() + "/B.IDX";
    folder("boxes");
    put(box({1}), one);
    ASSERT_EQ(Bind(two, one), 0u);
    ASSERT_EQ(Bind(far, one), 0u);
    const NameTable bound = table(one);
    EXPECT_EQ(bound.names(), (std::vector<std::string>{"A.IDX", far}));
    EXPECT_EQ(bound.entries[0].nameType, 1);
    EXPECT_EQ(bound.entries[1].nameType, 2);
    char name[256];
    u32 isMaster = 0;
    EXPECT_EQ(_GetIndexName(one.c_str(), 2, name, sizeof name, &isMaster), 0u);
    EXPECT_EQ(name, far);
    EXPECT_EQ(_BoxDelete(one.c_str()), 0u);
    EXPECT_FALSE(exists(two));
    EXPECT_FALSE(exists(far));
}

TEST_F(IndexLife, ABaseNameInTheIndexIsABoxBesideIt)
{
    folder("F0:/x");
    put(box(), "F0:/x/A.BOX");
    ASSERT_EQ(Bind("F0:/x/A.IDX", "A.BOX"), 0u);
    EXPECT_EQ(registered("F0:/x/A.BOX"), std::vector<std::string>{"A.IDX"});
}

TEST_F(IndexLife, AnIndexBelowTheDirectoryOfItsBoxLooksBesideItself)
{
    folder("F0:/x");
    put(box(), "F0:A.BOX");
    EXPECT_EQ(Bind("F0:/x/A.IDX", "F0:A.BOX"), 64u);
    put(box(), "F0:/x/A.BOX");
    EXPECT_EQ(Write("F0:/x/A.IDX", IDXINF_BOX_NAME, "F0:A.BOX"), 0u);
    EXPECT_EQ(registered("F0:/x/A.BOX").size(), 1u);
    // The name of the other drive is in the way of that.
    EXPECT_EQ(Write("F0:/x/A.IDX", IDXINF_BOX_NAME, "F1:A.BOX"), 0u);
    EXPECT_EQ(registered("F0:A.BOX"), std::vector<std::string>{"F0:/x/A.IDX"});
}

TEST_F(IndexLife, ABoxWithItsIndexesCanBeMoved)
{
    put(box({1}), "F0:A.BOX");
    ASSERT_EQ(Bind("F0:A.IDX", "A.BOX"), 0u);
    folder("F0:/moved");
    ASSERT_EQ(rename(path("F0:A.BOX").c_str(), path("F0:/moved/A.BOX").c_str()), 0);
    ASSERT_EQ(rename(path("F0:A.IDX").c_str(), path("F0:/moved/A.IDX").c_str()), 0);
    EXPECT_EQ(WriteByte("F0:/moved/A.IDX", IDXINF_TYPE, 3), 0u);
    EXPECT_EQ(table("F0:/moved/A.BOX").entries.size(), 1u);
    EXPECT_EQ(table("F0:/moved/A.BOX").entries[0].flags, 3);
    EXPECT_EQ(_BoxDelete("F0:/moved/A.BOX"), 0u);
    EXPECT_FALSE(exists("F0:/moved/A.IDX"));
}

// --- deletion --------------------------------------------------------------------------------------------

TEST_F(IndexLife, AnIndexWhoseBoxIsGoneIsDeletedWithAFailure)
{
    put(box({1}));
    ASSERT_EQ(Bind(kIndex), 0u);
    ASSERT_EQ(unlink(path(kBox).c_str()), 0);
    EXPECT_EQ(_IndexDelete(kIndex), 64u);
    EXPECT_FALSE(exists(kIndex));
}

TEST_F(IndexLife, WhateverItHoldsAnIndexIsDeleted)
{
    const std::string longName = "F0:/" + std::string(252, 'd') + "/A.BOX";
    const std::pair<Bytes, u32> cases[] = {
        {IndexBuilder().build(), 255},
        {IndexBuilder().created().build(), 66},
        {IndexBuilder().created().record(1, "").build(), 71},
        {IndexBuilder().created().record(1, "F0:NONE.BOX").build(), 64},
        {IndexBuilder().created().record(1, longName).build(), 71},
        {IndexBuilder().created().record(1, std::string(255, 'd')).build(), 71},
        {IndexBuilder().created().record(1, kIndex).build(), 64},
        {Slice(IndexBuilder().created().record(1, "F0:NONE.BOX").build(), 0, 40), 71},
        {B("no index"), 255},
        {Bytes{}, 255}};
    for (const auto& [file, status] : cases) {
        put(file, kIndex);
        EXPECT_EQ(_IndexDelete(kIndex), status);
        EXPECT_FALSE(exists(kIndex));
    }
    EXPECT_EQ(_IndexDelete("F0:NONE.IDX"), 64u);
    EXPECT_EQ(_IndexDelete(std::string(300, 'n').c_str()), 64u);
}

TEST_F(IndexLife, ABadIndexIsDeletedWithItsEntryOfTheRegistry)
{
    put(box({1}));
    ASSERT_EQ(Bind(kIndex), 0u);
    Captured quiet;
    ASSERT_EQ(BxdSetErrorFileName(kIndex, 134, 3, "bad\n"), 0u);
    EXPECT_EQ(_IndexInfoWrite(kIndex, 4, Data("x"), 1), 64u);  // it is barred
    EXPECT_EQ(_IndexDelete(kIndex), 0u);
    EXPECT_FALSE(exists(kIndex));
    EXPECT_TRUE(registered().empty());
    EXPECT_EQ(BxdGetErrorFileNum(), 0u);
}

TEST_F(IndexLife, ADamagedTableOfTheBoxKeepsNoIndexAlive)
{
    put(box({1}));
    ASSERT_EQ(Bind(kIndex), 0u);
    Bytes file = get();
    Put16(file, GetField(file, hd::indexTable), 5);
    put(file);
    EXPECT_EQ(_IndexDelete(kIndex), 0u);
    EXPECT_FALSE(exists(kIndex));
    EXPECT_TRUE(SameBytes(file, get()));
}

TEST_F(IndexLife, ABoxThatIsGoneLeavesOrphansThatItsDeletionFinds)
{
    put(box({1}));
    ASSERT_EQ(Bind("F0:A.IDX", "TEST.BOX"), 0u);
    ASSERT_EQ(Bind("F0:B.TDX", "TEST.BOX", BXD_INDEX_LIST), 0u);
    ASSERT_EQ(Bind("F0:C.IDX", kBox), 0u);  // names it with a drive, and is not found
    ASSERT_EQ(_IndexCreate("F0:D.IDX", 17), 0u);
    put(B("damaged"));
    Captured err;
    EXPECT_EQ(_BoxDelete(kBox), 64u);
    EXPECT_FALSE(exists());
    EXPECT_FALSE(exists("F0:A.IDX"));
    EXPECT_FALSE(exists("F0:B.TDX"));
    EXPECT_TRUE(exists("F0:C.IDX"));
    EXPECT_TRUE(exists("F0:D.IDX"));
    EXPECT_NE(err.text().find("referenced box name is same "), std::string::npos);
}

// --- copies ----------------------------------------------------------------------------------------------

TEST_F(IndexLife, ACopyHasAllOfTheSourceButOneRecordAndIsRegistered)
{
    put(box({1, 2}));
    IndexBuilder source(kListKind);
    source.created().record(1, kBox).record(4, Bytes{0x82}).record(32, Bytes{1}).record(200, "old");
    source.entries({{1, 0x47}, {2, 0x47, 1}});
    put(source.build(), kIndex);
    ASSERT_EQ(_IndexCopy(kIndex, "F0:COPY.TDX", 200, Data("much longer"), 11), 0u);
    IndexBuilder want(kListKind);
    want.created().record(1, kBox).record(4, Bytes{0x82}).record(32, Bytes{1}).record(200, "much longer");
    want.entries({{1, 0x47}, {2, 0x47, 1}});
    EXPECT_TRUE(SameBytes(want.build(), get("F0:COPY.TDX")));
    EXPECT_TRUE(SameBytes(source.build(), get(kIndex)));
    const NameTable entries = table();
    ASSERT_EQ(entries.names(), std::vector<std::string>{"COPY.TDX"});
    EXPECT_EQ(entries.entries[0].indexFileId, 28);
    EXPECT_EQ(entries.entries[0].flags, 0x82);
    EXPECT_EQ(entries.entries[0].flags2, 1);
    // Over itself once more: one entry stays one.
    ASSERT_EQ(_IndexCopy(kIndex, "F0:COPY.TDX", 4, Data("\x03"), 1), 0u);
    EXPECT_EQ(registered(), std::vector<std::string>{"COPY.TDX"});
    EXPECT_EQ(table().entries[0].flags, 3);
    // Leaving the mode of a filtered index, the copy loses its doubly entries.
    ASSERT_EQ(_IndexCopy(kIndex, "F0:COPY.TDX", 32, Data(std::string(1, '\0')), 1), 0u);
    EXPECT_EQ(view("F0:COPY.TDX").cardIds(), std::vector<u32>{1});
    EXPECT_EQ(view(kIndex).cardIds().size(), 2u);
    EXPECT_EQ(table().entries[0].flags2, 0);
}

TEST_F(IndexLife, ACopyForAnotherBoxIsRegisteredThere)
{
    put(box({1}));
    put(box({1}), "F0:OTHER.BOX");
    ASSERT_EQ(Bind(kIndex), 0u);
    ASSERT_EQ(_IndexCopy(kIndex, "F0:COPY.IDX", 1, Data("OTHER.BOX"), 9), 0u);
    EXPECT_EQ(registered(), std::vector<std::string>{"TEST.IDX"});
    EXPECT_EQ(registered("F0:OTHER.BOX"), std::vector<std::string>{"COPY.IDX"});
    EXPECT_EQ(view("F0:COPY.IDX").record(1), B("OTHER.BOX"));
}

TEST_F(IndexLife, ACopyWithoutABoxStaysByItself)
{
    for (const Bytes& source : {IndexBuilder().created().build(), IndexBuilder().build(),
                                IndexBuilder().created().record(1, "").build()}) {
        put(source, kIndex);
        EXPECT_EQ(_IndexCopy(kIndex, "F0:COPY.IDX", 200, Data("app"), 3), 0u);
        EXPECT_EQ(view("F0:COPY.IDX").record(200), B("app"));
    }
}

TEST_F(IndexLife, ACopyThatFailsIsDeleted)
{
    put(IndexBuilder().created().record(1, "F0:NONE.BOX").build(), kIndex);
    EXPECT_EQ(_IndexCopy(kIndex, "F0:COPY.IDX", 200, Data("app"), 3), 64u);
    EXPECT_FALSE(exists("F0:COPY.IDX"));
    EXPECT_EQ(_IndexCopy(kIndex, "F0:COPY.IDX", 1, Data("F0:NONE2.BOX"), 12), 64u);
    EXPECT_FALSE(exists("F0:COPY.IDX"));
    EXPECT_EQ(_IndexCopy(kIndex, "F0:COPY.IDX", 1, nullptr, 0), 71u);
    EXPECT_FALSE(exists("F0:COPY.IDX"));
    EXPECT_EQ(_IndexCopy(kIndex, "F0:/none/COPY.IDX", 200, Data("app"), 3), 71u);
    EXPECT_EQ(_IndexCopy("F0:NONE.IDX", "F0:COPY.IDX", 200, Data("app"), 3), 64u);
    put(B("no index"), "F0:NONE.IDX");
    put(B("kept"), "F0:COPY.IDX");
    EXPECT_EQ(_IndexCopy("F0:NONE.IDX", "F0:COPY.IDX", 200, Data("app"), 3), 64u);
    EXPECT_EQ(_IndexCopy(kIndex, "F0:COPY.IDX", 0, Data("app"), 3), 71u);
    EXPECT_EQ(_IndexCopy(kIndex, "F0:COPY.IDX", 256, Data("app"), 3), 71u);
    EXPECT_EQ(_IndexCopy(kIndex, "F0:COPY.IDX", 200, Data("app"), 32765), 71u);
    EXPECT_EQ(_IndexCopy(kIndex, "F0:COPY.IDX", 200, nullptr, 3), 71u);
    EXPECT_EQ(Text(get("F0:COPY.IDX")), "kept");
    // A damaged source is copied, and the record does not find its place.
    Bytes damaged = IndexBuilder().created().entry(1).build();
    SetField(damaged, ix::infoPos, kNone);
    put(damaged, kIndex);
    EXPECT_EQ(_IndexCopy(kIndex, "F0:COPY.IDX", 200, Data("app"), 3), 71u);
    EXPECT_FALSE(exists("F0:COPY.IDX"));
}

TEST_F(IndexLife, ACopyOntoItselfIsRefusedUnderAnyName)
{
    put(box({1}));
    ASSERT_EQ(Bind(kIndex), 0u);
    const Bytes before = get(kIndex);
    ASSERT_EQ(link(path(kIndex).c_str(), path("F0:LINK.IDX").c_str()), 0);
    ASSERT_EQ(symlink(path(kIndex).c_str(), path("F0:SOFT.IDX").c_str()), 0);
    for (const std::string& name :
         {std::string(kIndex), std::string("F1:TEST.IDX"), std::string("F0:/TEST.IDX"), path(kIndex),
          std::string("F0:LINK.IDX"), std::string("F0:SOFT.IDX")}) {
        EXPECT_EQ(_IndexCopy(kIndex, name.c_str(), 200, Data("app"), 3), 67u) << name;
        EXPECT_TRUE(SameBytes(before, get(kIndex)));
    }
    EXPECT_EQ(_IndexCopy("F0:NONE.IDX", "F0:NONE.IDX", 200, Data("app"), 3), 64u);
}

// --- boxes that are special ------------------------------------------------------------------------------

TEST_F(IndexLife, ABoxThatCanOnlyBeReadIsNotTold)
{
    put(box({1}));
    ASSERT_EQ(Bind(kIndex), 0u);
    const Bytes before = get();
    // In another process and without root's rights, which would write to everything.
    EXPECT_EQ(chmod(home_.home().c_str(), 0777), 0);
    EXPECT_EQ(chmod(dir().c_str(), 0777), 0);
    EXPECT_EQ(chmod(path(kIndex).c_str(), 0666), 0);
    EXPECT_EQ(chmod(path(kBox).c_str(), 0444), 0);
    EXPECT_EQ(InOtherProcess([] {
                  constexpr uid_t kNobody = 65534;
                  if (geteuid() == 0 && setuid(kNobody) != 0) { return 1; }
                  if (Write(kIndex, IDXINF_BOX_NAME, kBox) != 0) { return 2; }
                  if (WriteByte(kIndex, IDXINF_TYPE, 2) != 0) { return 3; }
                  if (_IndexInfoDelete(kIndex, IDXINF_UPDATE_MODE) != 0) { return 4; }
                  if (_IndexCopy(kIndex, "F0:COPY.IDX", 200, Data("app"), 3) != 0) { return 5; }
                  return _IndexDelete(kIndex) == 0 ? 0 : 6;
              }),
              0);
    EXPECT_TRUE(exists("F0:COPY.IDX"));
    EXPECT_FALSE(exists(kIndex));
    EXPECT_TRUE(SameBytes(before, get()));
}

class BadBoxes : public IndexLife {
protected:
    // A file that does not open as a box, for its version is barred, and stands in the registry.
    void putBadBox(u16 status)
    {
        Bytes file = box({1});
        file[3] = 0xFF;
        put(file);
        Captured quiet;
        ASSERT_LE(BxdSetErrorFileName(kBox, status, 3, "bad\n"), 67u);
    }
    ~BadBoxes() override { (void)_BxdnInit(); }

    std::vector<std::string> names() const { return TakeIndexTableApart(get()).names(); }
};

TEST_F(BadBoxes, OneThatStaysOpenableTakesAnIndexAndIsBadNoLonger)
{
    putBadBox(BXD_ERRFILE_OPENABLE);
    ASSERT_EQ(Bind(kIndex), 0u);
    EXPECT_EQ(names(), std::vector<std::string>{"TEST.IDX"});
    EXPECT_EQ(BxdGetErrorFileNum(), 0u);
    // Without its entry the file is refused again.
    EXPECT_EQ(Write(kIndex, IDXINF_BOX_NAME, kBox), 64u);
    // A change of type or mode does not look into the registry.
    putBadBox(BXD_ERRFILE_OPENABLE);
    EXPECT_EQ(WriteByte(kIndex, IDXINF_TYPE, 2), 64u);
    EXPECT_EQ(BxdGetErrorFileNum(), 1u);
}

TEST_F(BadBoxes, ACopyIsRegisteredInOneToo)
{
    putBadBox(BXD_ERRFILE_OPENABLE);
    put(IndexBuilder().created().record(1, kBox).build(), kIndex);
    ASSERT_EQ(_IndexCopy(kIndex, "F0:COPY.IDX", 200, Data("app"), 3), 0u);
    EXPECT_EQ(names(), std::vector<std::string>{"COPY.IDX"});
    EXPECT_EQ(BxdGetErrorFileNum(), 0u);
}

TEST_F(BadBoxes, ASoundBoxOfThatStatusIsAcquittedByItsNameAlone)
{
    put(box({1}));
    Captured quiet;
    ASSERT_EQ(BxdSetErrorFileName(kBox, BXD_ERRFILE_OPENABLE, 3, "bad\n"), 0u);
    put(IndexBuilder().created().record(1, kBox).build(), kIndex);
    ASSERT_EQ(_IndexCopy(kIndex, "F0:COPY.IDX", 200, Data("app"), 3), 0u);
    EXPECT_EQ(BxdGetErrorFileNum(), 1u);  // the box has opened as a box
    EXPECT_EQ(Write(kIndex, IDXINF_BOX_NAME, kBox), 0u);
    EXPECT_EQ(BxdGetErrorFileNum(), 0u);
}

TEST_F(BadBoxes, OneOfAnotherStatusIsBarred)
{
    putBadBox(130);
    EXPECT_EQ(Bind(kIndex), 64u);
    EXPECT_EQ(view().record(1), B(kBox));
    EXPECT_EQ(_IndexCopy(kIndex, "F0:COPY.IDX", 200, Data("app"), 3), 64u);
    EXPECT_EQ(BxdGetErrorFileNum(), 1u);
}

TEST_F(BadBoxes, OneThatIsNotThereGives64)
{
    Captured quiet;
    ASSERT_EQ(BxdSetErrorFileName(kBox, BXD_ERRFILE_OPENABLE, 3, "bad\n"), 0u);
    EXPECT_EQ(Bind(kIndex), 64u);
    EXPECT_EQ(BxdGetErrorFileNum(), 1u);
}

}  // namespace
