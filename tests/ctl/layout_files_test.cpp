// SPDX-License-Identifier: MIT
#include "ctl/layout_files.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <thread>

namespace {

using setup::Layout;

/// A folder with files of its own, which is also the current one.
class LayoutFilesTest : public testing::Test {
protected:
    LayoutFilesTest() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "layout-files-XXXXXX").string();
        folder_ = mkdtemp(pattern.data());
        std::filesystem::current_path(folder_);
    }
    ~LayoutFilesTest() override {
        std::filesystem::current_path(before_);
        std::filesystem::remove_all(folder_);
    }

    static void write(const std::string& name, const std::string& content) {
        std::ofstream(name) << content;
    }

    static std::vector<std::string> lines(const std::vector<setup::LayoutMistake>& mistakes) {
        std::vector<std::string> lines;
        for (const setup::LayoutMistake& mistake : mistakes)
            lines.push_back(mistake_line(mistake));
        return lines;
    }

    static std::vector<std::string> mistakes_in(const std::vector<std::string>& names) {
        const Layout layout = read_layout_files(names);
        EXPECT_TRUE(layout.machines.empty());
        return lines(layout.mistakes);
    }

    using Lines = std::vector<std::string>;
    static constexpr const char* one =
        "[4AC5F4C4]\n12 = { type = \"Note On\", channel = 1, controller = 7 }\n";
    static constexpr const char* other =
        "[4AC6F4C4]\n13 = { type = \"Note On\", channel = 1, controller = 8 }\n";

private:
    const std::filesystem::path before_ = std::filesystem::current_path();
    std::string folder_;
};

TEST_F(LayoutFilesTest, SeveralAreOneLayout) {
    write("one.toml", one);
    write("other.toml", other);
    const Layout layout = read_layout_files({"other.toml", "one.toml"});
    ASSERT_EQ(layout.machines.size(), 2U);
    EXPECT_EQ(layout.machines[0].code, 0x4AC5F4C4U);
    EXPECT_EQ(place_text(layout.machines[0].entries.at(0).place), "one.toml:2:1");
    EXPECT_EQ(layout.machines[1].code, 0x4AC6F4C4U);
    EXPECT_EQ(lines(layout.mistakes), Lines{});
}

TEST_F(LayoutFilesTest, DashIsStandardInput) {
    write("input", one);
    const int input = open("input", O_RDONLY | O_CLOEXEC);
    const Layout layout = read_layout_files({"-"}, input);
    ASSERT_EQ(layout.machines.size(), 1U);
    EXPECT_EQ(place_text(layout.machines[0].place), "-:1:2");
    EXPECT_EQ(fcntl(input, F_GETFD), FD_CLOEXEC) << "it stays open";
    close(input);
}

TEST_F(LayoutFilesTest, PipeIsReadToItsEnd) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    // More than a pipe holds, in two parts: the second is written while the first is read.
    std::string content = one;
    content += "#" + std::string(200'000, '-') + "\n";
    std::thread writer([&] {
        for (const std::string& part : {content, std::string(other)})
            EXPECT_EQ(::write(ends[1], part.data(), part.size()),
                      static_cast<ssize_t>(part.size()));
        close(ends[1]);
    });
    const Layout layout = read_layout_files({"-"}, ends[0]);
    writer.join();
    close(ends[0]);
    EXPECT_EQ(lines(layout.mistakes), Lines{});
    EXPECT_EQ(layout.machines.size(), 2U);
}

TEST_F(LayoutFilesTest, StandardInputCannotBeReadTwice) {
    write("input", one);
    const int input = open("input", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(lines(read_layout_files({"-", "-"}, input).mistakes),
              Lines{"-: this file is given twice"});
    close(input);
}

TEST_F(LayoutFilesTest, StandardInputMayBeClosed) {
    const int input = open("/dev/null", O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(lines(read_layout_files({"-"}, input).mistakes),
              Lines{"-: it cannot be read: Bad file descriptor"});
    close(input);
}

TEST_F(LayoutFilesTest, OneFileCannotBeGivenTwice) {
    write("desk.toml", one);
    std::filesystem::create_symlink("desk.toml", "link\n.toml");
    EXPECT_EQ(mistakes_in({"desk.toml", "desk.toml"}),
              Lines{"desk.toml: this file is given twice"});
    EXPECT_EQ(mistakes_in({"link\n.toml", "desk.toml"}),
              Lines{"desk.toml: this file is given twice, as link?.toml, too"});
}

TEST_F(LayoutFilesTest, FolderIsNamedAsOne) {
    std::filesystem::create_directory("desk");
    EXPECT_EQ(mistakes_in({"desk"}), Lines{"desk: this is a folder"});
}

TEST_F(LayoutFilesTest, MissingFileIsNamed) {
    EXPECT_EQ(mistakes_in({"desk.toml"}), Lines{"desk.toml: there is no such file"});
    EXPECT_EQ(mistakes_in({""}), Lines{": there is no such file"});
}

TEST_F(LayoutFilesTest, UnreadableFileHasTheSystemsReason) {
    std::filesystem::create_symlink("desk.toml", "desk.toml");
    EXPECT_EQ(mistakes_in({"desk.toml"}),
              Lines{"desk.toml: it cannot be read: Too many levels of symbolic links"});
}

TEST_F(LayoutFilesTest, FileWithoutAnEndIsTooLarge) {
    EXPECT_EQ(mistakes_in({"/dev/zero"}),
              Lines{"/dev/zero: it has more than 1 MiB, which is too much for a layout"});
}

TEST_F(LayoutFilesTest, LargestFileIsRead) {
    std::string content = one;
    content += '#';
    content.append(most_layout_bytes - content.size(), '-');
    write("desk.toml", content);
    EXPECT_EQ(lines(read_layout_files({"desk.toml"}).mistakes), Lines{});
    write("desk.toml", content + "-");
    EXPECT_EQ(mistakes_in({"desk.toml"}),
              Lines{"desk.toml: it has more than 1 MiB, which is too much for a layout"});
}

TEST_F(LayoutFilesTest, AllMistakesAreTold) {
    write("good.toml", one);
    write("bad.toml", "[4AC5F4C4]\n12 = {}\n");
    std::filesystem::create_directory("desk");
    EXPECT_EQ(
        mistakes_in({"bad.toml", "good.toml", "desk"}),
        (Lines{"desk: this is a folder", "bad.toml:2:1: part 12 has no type",
               "bad.toml:2:1: part 12 has no channel", "bad.toml:2:1: part 12 has no controller",
               "good.toml:2:1: part 12 of 4AC5F4C4 is also at bad.toml:2:1"}));
}

} // namespace
