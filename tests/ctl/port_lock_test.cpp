// SPDX-License-Identifier: MIT
#include "ctl/port_lock.h"

#include "tests/ctl/workplace.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// A folder of its own.
class PortLockTest : public testing::Test {
protected:
    PortLockTest() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "port-lock-XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
    }
    ~PortLockTest() override { std::filesystem::remove_all(folder_); }

    std::string folder_;
};

TEST_F(PortLockTest, IsTakenWhereNobodyHasIt) {
    const PortLock lock(folder_, "24:0");
    EXPECT_TRUE(lock.is_held());
    EXPECT_EQ(lock.error(), 0);
    EXPECT_FALSE(lock.holder().has_value());
}

TEST_F(PortLockTest, IsRefusedWhileAnotherProcessHasItAndNamesThatProcess) {
    const LockHolder other(folder_, "24:0");
    const PortLock lock(folder_, "24:0");
    EXPECT_FALSE(lock.is_held());
    EXPECT_EQ(lock.holder(), other.process());
    EXPECT_EQ(lock.error(), 0);
}

TEST_F(PortLockTest, IsTriedAgain) {
    std::optional<LockHolder> other(std::in_place, folder_, "24:0");
    PortLock lock(folder_, "24:0");
    lock.try_again();
    EXPECT_FALSE(lock.is_held());
    EXPECT_EQ(lock.holder(), other->process());
    other.reset();
    lock.try_again();
    EXPECT_TRUE(lock.is_held());
    EXPECT_FALSE(lock.holder().has_value());
    lock.try_again();
    EXPECT_TRUE(lock.is_held());
}

TEST_F(PortLockTest, IsForOnePortOnly) {
    const LockHolder other(folder_, "24:0");
    EXPECT_TRUE(PortLock(folder_, "24:1").is_held());
    EXPECT_TRUE(PortLock(folder_, "240").is_held());
}

TEST_F(PortLockTest, IsFreeWhenItsProcessIsKilled) {
    { const LockHolder other(folder_, "24:0"); }
    EXPECT_TRUE(PortLock(folder_, "24:0").is_held());
}

TEST_F(PortLockTest, LeavesAnEmptyFileThatIsTheUsersAlone) {
    {
        const PortLock lock(folder_, "24:0");
        EXPECT_TRUE(lock.is_held());
    }
    struct stat status {};
    ASSERT_EQ(stat((folder_ + "/keyloftctl-24:0.lock").c_str(), &status), 0);
    EXPECT_EQ(status.st_size, 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(PortLockTest, SaysWhyThereIsNone) {
    const PortLock lock(folder_ + "/missing", "24:0");
    EXPECT_FALSE(lock.is_held());
    EXPECT_EQ(lock.error(), ENOENT);
    EXPECT_FALSE(lock.holder().has_value());
}

TEST_F(PortLockTest, FollowsNoLinkThatSomebodyPutThere) {
    ASSERT_EQ(symlink("elsewhere", (folder_ + "/keyloftctl-24:0.lock").c_str()), 0);
    EXPECT_EQ(PortLock(folder_, "24:0").error(), ELOOP);
    EXPECT_FALSE(std::filesystem::exists(folder_ + "/elsewhere"));
}

TEST(LockFolder, IsAnAbsolutePathOrNothing) {
    setenv("XDG_RUNTIME_DIR", "/run/user/1000", 1);
    EXPECT_EQ(lock_folder(), "/run/user/1000");
    for (const char* const folder : {"", "run"}) {
        setenv("XDG_RUNTIME_DIR", folder, 1);
        EXPECT_FALSE(lock_folder().has_value());
    }
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_FALSE(lock_folder().has_value());
}

} // namespace
