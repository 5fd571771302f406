// SPDX-License-Identifier: MIT
// Lets a test that runs as root feel the permissions of files.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

namespace boxtest {

constexpr uid_t kNobody = 65534;

// Lets root feel the permissions of files as anyone else does.
class WithoutRoot {
public:
    WithoutRoot() : wasRoot_(geteuid() == 0)
    {
        if (wasRoot_) { EXPECT_EQ(seteuid(kNobody), 0); }
    }
    WithoutRoot(const WithoutRoot&) = delete;
    WithoutRoot& operator=(const WithoutRoot&) = delete;
    ~WithoutRoot()
    {
        if (wasRoot_) { EXPECT_EQ(seteuid(0), 0); }
    }

private:
    bool wasRoot_;
};

}  // namespace boxtest
