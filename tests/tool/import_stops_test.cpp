// SPDX-License-Identifier: MIT
// An import that cannot go on: the disk is full, or the user has had enough. What was imported is complete,
// and the tool says how much that is. And the bar that it shows while all goes well.
#include <pty.h>
#include <sys/stat.h>

#include <chrono>
#include <thread>

#include "tests/tool/tool_run.h"

namespace {

using namespace tool_test;

class ImportStops : public ToolTest {
protected:
    void SetUp() override
    {
        ToolTest::SetUp();
        MakeWords();
    }

    void MakePipe() const { ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0); }

    // Waits until the box has so many cards.
    void AwaitCards(int count) const
    {
        for (int i = 0; i < 500; i++) {
            if (RunJson({"info", "w.box", "--json"})["cards"] == count) { return; }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ADD_FAILURE() << "the box did not come to " << count << " cards";
    }
};

const std::vector<std::string> kFromStandardInput = {"import", "w.box", "-", "--format", "csv"};

TEST_F(ImportStops, AFullDiskLeavesWholeCards)
{
    std::string rows = "HEAD,MEAN\n";
    for (int i = 1; i <= 500; i++) { rows += "w" + std::to_string(i) + ",a meaning of some length\n"; }
    Write("in", rows);
    Surroundings smallDisk;
    smallDisk.fileSize = 8192;
    const Outcome outcome = Wait(Start(kFromStandardInput, smallDisk));

    EXPECT_EQ(outcome.code, 1);
    const Json cards = RunJson({"list", "w.box", "--json"});
    EXPECT_GT(cards.size(), 50u);
    EXPECT_LT(cards.size(), 500u);
    EXPECT_NE(outcome.err.find("before that, " + std::to_string(cards.size()) + " cards were imported"),
              std::string::npos)
        << outcome.err;
    for (const Json& card : cards) {
        EXPECT_EQ(card["items"]["HEAD"], "w" + std::to_string(card["id"].get<int>()));
        EXPECT_EQ(card["items"]["MEAN"], "a meaning of some length");
    }
}

TEST_F(ImportStops, AnInterruptWaitsForTheCardInWork)
{
    MakePipe();
    Surroundings piped;
    piped.input = "pipe";
    const pid_t child = Start(kFromStandardInput, piped);
    std::ofstream pipe(Path("pipe"));
    pipe << "HEAD\none\ntwo\n" << std::flush;
    AwaitCards(2);
    ASSERT_EQ(kill(child, SIGINT), 0);
    const Outcome outcome = Wait(child);

    EXPECT_EQ(outcome.code, 1);
    EXPECT_NE(outcome.err.find("bxd: standard input: interrupted\n"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("before that, 2 cards were imported and are complete\n"), std::string::npos);
    EXPECT_EQ(RunJson({"list", "w.box", "--json"}).size(), 2u);
}

TEST_F(ImportStops, ATerminalShowsTheProgress)
{
    MakePipe();
    int screen = -1;
    Surroundings onTerminal;
    onTerminal.input = "pipe";
    if (openpty(&screen, &onTerminal.terminal, nullptr, nullptr, nullptr) != 0) {
        GTEST_SKIP() << "this host has no pseudo-terminals";
    }
    const pid_t child = Start(kFromStandardInput, onTerminal);
    std::ofstream pipe(Path("pipe"));
    pipe << "HEAD\none\n" << std::flush;
    std::this_thread::sleep_for(std::chrono::milliseconds(800));
    pipe << "two\n" << std::flush;
    pipe.close();
    EXPECT_EQ(Wait(child).code, 0);
    close(onTerminal.terminal);

    std::string shown(4096, '\0');
    const ssize_t size = read(screen, shown.data(), shown.size());
    shown.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    EXPECT_EQ(shown, "\r2 cards\r\033[K");
    close(screen);
}

}  // namespace
