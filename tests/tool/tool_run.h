// SPDX-License-Identifier: MIT
// Runs the real tool as a process of its own, in a scratch directory that is also its HOME.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <iconv.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace tool_test {

using Json = nlohmann::ordered_json;

struct Outcome {
    int code = -1;  // exit code; 128 and the signal's number for a process that was killed
    std::string out;
    std::string err;
};

inline std::string ReadFile(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

inline std::string EucJp(std::string text)
{
    iconv_t converter = iconv_open("EUC-JP", "UTF-8");
    std::string result(text.size() * 2 + 1, '\0');
    char* in = text.data();
    char* out = result.data();
    size_t left = text.size();
    size_t room = result.size();
    EXPECT_EQ(iconv(converter, &in, &left, &out, &room), 0u);
    iconv_close(converter);
    result.resize(result.size() - room);
    return result;
}

// Holds a box for writing as another process would that has it open.
class HeldByAnother {
public:
    explicit HeldByAnother(const std::filesystem::path& path) : file_(open(path.c_str(), O_RDWR | O_CLOEXEC))
    {
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        lock.l_whence = SEEK_SET;
        EXPECT_EQ(fcntl(file_, F_SETLK, &lock), 0);
    }
    ~HeldByAnother() { close(file_); }
    HeldByAnother(const HeldByAnother&) = delete;
    HeldByAnother& operator=(const HeldByAnother&) = delete;

private:
    int file_;
};

class ToolTest : public testing::Test {
protected:
    void SetUp() override
    {
        std::string name = (std::filesystem::temp_directory_path() / "bxd-tool-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        home_ = name;
    }

    void TearDown() override { std::filesystem::remove_all(home_); }

    std::filesystem::path Home() const { return home_; }
    std::filesystem::path Path(const std::string& name) const { return home_ / name; }

    void Write(const std::string& name, const std::string& content) const
    {
        std::ofstream(Path(name), std::ios::binary) << content;
    }

    // How a started tool meets its surroundings.
    struct Surroundings {
        std::string input = "in";         // file or pipe in the scratch directory
        int terminal = -1;                // takes standard error when it is a descriptor
        rlim_t fileSize = RLIM_INFINITY;  // of the largest file that it may write
    };

    pid_t Start(const std::vector<std::string>& arguments, const Surroundings& surroundings) const
    {
        const pid_t child = fork();
        if (child == 0) { Exec(arguments, surroundings); }
        return child;
    }

    Outcome Wait(pid_t child) const
    {
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), ReadFile(Path("out")),
                ReadFile(Path("err"))};
    }

    // Runs the tool in the scratch directory; `input` is what it finds on standard input.
    Outcome Run(const std::vector<std::string>& arguments, const std::string& input = "") const
    {
        Write("in", input);
        return Wait(Start(arguments, Surroundings()));
    }

    // Expects that the tool does its work without a word on standard error, and gives what it printed.
    std::string RunOk(const std::vector<std::string>& arguments, const std::string& input = "") const
    {
        const Outcome outcome = Run(arguments, input);
        EXPECT_EQ(outcome.code, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");
        return outcome.out;
    }

    Json RunJson(const std::vector<std::string>& arguments, const std::string& input = "") const
    {
        const std::string out = RunOk(arguments, input);
        Json json = Json::parse(out, nullptr, false);
        EXPECT_FALSE(json.is_discarded()) << out;
        return json;
    }

    // Expects this exit code, nothing on standard output, and `words` in what is said on standard error.
    void ExpectFailure(int code, const std::string& words, const std::vector<std::string>& arguments) const
    {
        const Outcome outcome = Run(arguments);
        EXPECT_EQ(outcome.code, code) << outcome.err;
        EXPECT_EQ(outcome.out, "");
        EXPECT_NE(outcome.err.find(words), std::string::npos) << "said: " << outcome.err;
    }

    // A box "w.box" with three texts.
    void MakeWords() const
    {
        RunOk({"create", "w.box", "--item", "HEAD:text:headword", "--item", "READ:text:reading", "--item",
               "MEAN:text:meaning"});
    }

private:
    [[noreturn]] void Exec(const std::vector<std::string>& arguments, const Surroundings& surroundings) const
    {
        std::vector<char*> argv = {const_cast<char*>("bxd")};
        for (const std::string& argument : arguments) { argv.push_back(const_cast<char*>(argument.c_str())); }
        argv.push_back(nullptr);
        constexpr int kNewFile = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC;
        dup2(open(Path(surroundings.input).c_str(), O_RDONLY | O_CLOEXEC), STDIN_FILENO);
        dup2(open(Path("out").c_str(), kNewFile, 0600), STDOUT_FILENO);
        const int err = open(Path("err").c_str(), kNewFile, 0600);
        dup2(surroundings.terminal >= 0 ? surroundings.terminal : err, STDERR_FILENO);
        if (chdir(home_.c_str()) != 0) { _exit(126); }
        setenv("HOME", home_.c_str(), 1);
        if (surroundings.fileSize != RLIM_INFINITY) {
            const rlimit limit = {surroundings.fileSize, surroundings.fileSize};
            signal(SIGXFSZ, SIG_IGN);
            setrlimit(RLIMIT_FSIZE, &limit);
        }
        execv(BXD_TOOL_PATH, argv.data());
        _exit(127);
    }

    std::filesystem::path home_;
};

}  // namespace tool_test
