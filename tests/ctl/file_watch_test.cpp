// SPDX-License-Identifier: MIT
#include "ctl/file_watch.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <sys/resource.h>

namespace fs = std::filesystem;

namespace {

/// A folder for the files of a test, which is removed with all that is in it.
class FileWatchTest : public testing::Test {
protected:
    FileWatchTest() {
        std::string name = testing::TempDir() + "file_watch_XXXXXX";
        folder = fs::canonical(mkdtemp(name.data())).string();
        fs::create_directories(folder + "/in/deep");
        write("in/deep/desk");
    }
    ~FileWatchTest() override { fs::remove_all(folder); }

    [[nodiscard]] std::string at(const std::string& name) const { return folder + "/" + name; }
    void write(const std::string& name) const { std::ofstream(at(name)) << "text"; }

    static bool is_readable(const FileWatch& watch) {
        pollfd polled{.fd = watch.descriptor(), .events = POLLIN, .revents = 0};
        return poll(&polled, 1, 0) == 1;
    }
    /// Events are there as soon as the call that makes them has returned.
    static void expect_change(FileWatch& watch) {
        EXPECT_TRUE(is_readable(watch));
        EXPECT_TRUE(watch.take_changes());
        EXPECT_FALSE(is_readable(watch));
    }

    std::string folder;
};

} // namespace

TEST_F(FileWatchTest, FileThatIsWrittenCountsWhenItIsClosed) {
    FileWatch watch({at("in/deep/desk")});
    EXPECT_EQ(watch.trouble(), "");
    EXPECT_FALSE(watch.take_changes());
    std::ofstream file(at("in/deep/desk"));
    file << "half" << std::flush;
    EXPECT_FALSE(watch.take_changes());
    file.close();
    expect_change(watch);
    write("in/deep/desk");
    expect_change(watch);
}

TEST_F(FileWatchTest, ReadingIsNoChange) {
    const FileWatch watch({at("in/deep/desk")});
    std::string text;
    std::ifstream(at("in/deep/desk")) >> text;
    EXPECT_EQ(text, "text");
    EXPECT_FALSE(is_readable(watch));
}

TEST_F(FileWatchTest, OtherFilesAreNone) {
    FileWatch watch({at("in/deep/desk")});
    write("in/deep/other");
    EXPECT_FALSE(watch.take_changes());
    // Further up nobody is even woken up.
    write("in/other");
    write("other");
    fs::create_directories(at("in/others"));
    EXPECT_FALSE(is_readable(watch));
    write("in/deep/desk");
    expect_change(watch);
}

TEST_F(FileWatchTest, FileIsReplacedRemovedAndMadeAnew) {
    FileWatch watch({at("in/deep/desk")});
    write("in/deep/new");
    EXPECT_FALSE(watch.take_changes());
    fs::rename(at("in/deep/new"), at("in/deep/desk"));
    expect_change(watch);
    fs::rename(at("in/deep/desk"), at("in/deep/desk~"));
    expect_change(watch);
    write("in/deep/desk");
    expect_change(watch);
    fs::remove(at("in/deep/desk"));
    expect_change(watch);
    fs::create_hard_link(at("in/deep/desk~"), at("in/deep/desk"));
    expect_change(watch);
    fs::permissions(at("in/deep/desk"), fs::perms::none);
    expect_change(watch);
}

TEST_F(FileWatchTest, FileOfAFolderThatIsNotThereYet) {
    FileWatch watch({at("new/newer/desk")});
    EXPECT_EQ(watch.trouble(), "");
    fs::create_directory(at("new"));
    expect_change(watch);
    fs::create_directory(at("new/newer"));
    expect_change(watch);
    write("new/newer/desk");
    expect_change(watch);
}

TEST_F(FileWatchTest, FolderIsReplaced) {
    FileWatch watch({at("in/deep/desk")});
    fs::create_directories(at("new/deep"));
    write("new/deep/desk");
    EXPECT_FALSE(is_readable(watch));
    fs::rename(at("in"), at("old"));
    fs::rename(at("new"), at("in"));
    expect_change(watch);
    write("old/deep/desk");
    EXPECT_FALSE(watch.take_changes());
    write("in/deep/desk");
    expect_change(watch);
    fs::remove_all(at("in"));
    expect_change(watch);
    fs::create_directories(at("in/deep"));
    expect_change(watch);
    write("in/deep/desk");
    expect_change(watch);
}

TEST_F(FileWatchTest, LinkToAFile) {
    fs::create_symlink("in/deep/desk", at("link"));
    fs::create_symlink(at("link"), at("in/link"));
    FileWatch watch({at("in/link")});
    write("in/deep/desk");
    expect_change(watch);
    write("in/deep/new");
    EXPECT_FALSE(watch.take_changes());
    fs::remove(at("link"));
    expect_change(watch);
    fs::create_symlink("in/deep/new", at("link"));
    expect_change(watch);
    write("in/deep/desk");
    EXPECT_FALSE(watch.take_changes());
    write("in/deep/new");
    expect_change(watch);
}

TEST_F(FileWatchTest, LinkToAFolder) {
    fs::create_directories(at("second/deep"));
    write("second/deep/desk");
    fs::create_directory_symlink("../in", at("second/current"));
    FileWatch watch({at("second/current/deep/../deep/./desk")});
    write("in/deep/desk");
    expect_change(watch);
    fs::create_directory_symlink(at("second"), at("second/next"));
    EXPECT_FALSE(watch.take_changes());
    fs::rename(at("second/next"), at("second/current"));
    expect_change(watch);
    write("second/deep/desk");
    expect_change(watch);
}

TEST_F(FileWatchTest, SeveralFilesAndOneFolder) {
    write("in/desk");
    // `in` counts for one of them, and only leads on to the other.
    FileWatch watch({at("in/deep/desk"), at("in/desk"), at("in/none")});
    write("in/desk");
    expect_change(watch);
    write("in/deep/desk");
    expect_change(watch);
    write("in/none");
    expect_change(watch);
    write("in/other");
    EXPECT_FALSE(watch.take_changes());
}

TEST_F(FileWatchTest, RelativePathStartsInTheWorkingFolder) {
    const fs::path before = fs::current_path();
    fs::current_path(at("in"));
    FileWatch watch({"deep/desk"});
    fs::current_path(before);
    write("in/deep/desk");
    expect_change(watch);
}

TEST_F(FileWatchTest, LinksInACircleLeadNowhere) {
    fs::create_symlink("b", at("a"));
    fs::create_symlink("a", at("b"));
    FileWatch watch({at("a")});
    fs::remove(at("b"));
    expect_change(watch);
    write("b");
    expect_change(watch);
}

TEST_F(FileWatchTest, SaysThatNothingCanBeWatched) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit none = before;
    none.rlim_cur = 0;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    FileWatch watch({at("in/deep/desk")});
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(watch.trouble(), "changes of files are not noticed: Too many open files");
    EXPECT_EQ(watch.descriptor(), -1);
    EXPECT_FALSE(watch.take_changes());
}

TEST_F(FileWatchTest, FileWhereAFolderShouldBe) {
    write("in/file");
    FileWatch watch({at("in/file/desk")});
    fs::remove(at("in/file"));
    expect_change(watch);
    fs::create_directory(at("in/file"));
    expect_change(watch);
    write("in/file/desk");
    expect_change(watch);
}
