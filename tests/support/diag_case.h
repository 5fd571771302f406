// SPDX-License-Identifier: MIT
// What the tests of the file check share: files in a scratch HOME, a check with all that it told, and what a
// fault must leave behind.
#pragma once

#include <bxd/bxd.h>

#include "tests/support/box_case.h"
#include "tests/support/index_builder.h"

namespace boxtest {

constexpr const char* kDiagIndex = "F0:TEST.IDX";

// A fault as the applications know it.
struct DiagWant {
    u32 status;
    u32 level;  // of the entry
    std::string message;
};

// An entry of the registry; status 0 where there is none.
struct DiagEntry {
    u32 status = 0;
    u32 level = 0;
    std::string message;

    static DiagEntry Of(const std::string& name)
    {
        DiagEntry entry;
        u8 level = 0;
        char message[512] = {};
        entry.status = BxdGetErrorFileInf(name.c_str(), &level, message);
        entry.level = level;
        entry.message = message;
        return entry;
    }
};

class DiagCase : public BoxCase {
protected:
    DiagCase() { forget(); }
    ~DiagCase() override { forget(); }

    static void forget() { (void)_BxdnInit(); }

    struct Told {
        u32 status;
        std::string text;  // on standard error
    };
    static Told check(u8 level, const std::string& name = kBox, u32 appliId = 0)
    {
        Captured captured;
        const u32 status = BXDFileCheckSub(name.c_str(), level, appliId);
        return {status, captured.text()};
    }

    // The file has this fault and no other before it: status, entry and message are those wanted, and the
    // file is as it was.
    void expectFault(const Bytes& file, u8 level, const DiagWant& want, const std::string& name = kBox)
    {
        expectFaultLeaving(file, file, level, want, name);
    }
    void expectFaultLeaving(const Bytes& file, const Bytes& left, u8 level, const DiagWant& want,
                            const std::string& name = kBox)
    {
        forget();
        put(file, name);
        const Told told = check(level, name);
        EXPECT_EQ(told.status, want.status) << want.message << told.text;
        const DiagEntry entry = DiagEntry::Of(name);
        EXPECT_EQ(entry.status, want.status) << want.message;
        EXPECT_EQ(entry.level, want.level) << want.message;
        EXPECT_EQ(entry.message, want.message);
        // Formats are told filled in.
        const std::string literal = want.message.substr(0, want.message.find('%'));
        EXPECT_NE(told.text.find(literal), std::string::npos) << told.text;
        EXPECT_EQ(BxdGetErrorFileNum(), 1u);
        EXPECT_TRUE(SameBytes(left, get(name))) << want.message;
        EXPECT_EQ(OpenFiles(), 0u);
        EXPECT_LT(BxdFileOpen(name.c_str(), BXD_MODE_READ), 0) << "a bad file is barred";
    }

    // The check finds nothing and leaves the file as `left`.
    void expectSoundLeaving(const Bytes& file, const Bytes& left, u8 level, const std::string& name = kBox)
    {
        forget();
        put(file, name);
        const Told told = check(level, name);
        EXPECT_EQ(told.status, 0u) << "level " << unsigned{level} << ": " << told.text;
        EXPECT_EQ(BxdGetErrorFileNum(), 0u);
        EXPECT_TRUE(SameBytes(left, get(name)));
    }
    void expectSound(const Bytes& file, u8 level, const std::string& name = kBox)
    {
        expectSoundLeaving(file, file, level, name);
    }
    void expectSoundAtAllLevels(const Bytes& file, const std::string& name = kBox)
    {
        for (const u8 level : {u8{3}, u8{2}, u8{255}, u8{0}, u8{7}}) { expectSound(file, level, name); }
    }
};

}  // namespace boxtest
