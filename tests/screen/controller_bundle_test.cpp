// SPDX-License-Identifier: MIT
#include "tests/screen/controller_fixture.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

/// A folder of its own for each case, gone afterwards.
class Bundle : public ScreenActions {
protected:
    Bundle() : folder_(fs::canonical(fs::temp_directory_path()) / template_name) {
        std::string name = folder_.native();
        EXPECT_NE(mkdtemp(name.data()), nullptr);
        folder_ = name;
    }
    ~Bundle() override { fs::remove_all(folder_); }

    /// Copies the printing program to a folder under the case's own, runs it from there with a
    /// command line ("%" stands for its path), and expects that folder in both of its lines.
    void expect_found(const fs::path& below, const std::string& command = "exec '%'") {
        const fs::path home = folder_ / below;
        fs::create_directories(home);
        const fs::path program = home / "printer";
        fs::copy_file(BUNDLE_PRINTER, program, fs::copy_options::overwrite_existing);
        std::string line = command;
        for (std::size_t at = 0; (at = line.find('%', at)) != std::string::npos;
             at += program.native().size())
            line.replace(at, 1, program.native());
        EXPECT_EQ(output_of(line), home.native() + "/../share/keyloft\n" + home.native() + "/..\n")
            << line;
    }

    static std::string output_of(const std::string& line) {
        std::string text;
        FILE* output = popen(line.c_str(), "r");
        if (!output)
            return "no shell";
        std::array<char, 512> piece{};
        for (std::size_t got = 0; (got = fread(piece.data(), 1, piece.size(), output)) > 0;)
            text.append(piece.data(), got);
        EXPECT_EQ(pclose(output), 0) << line;
        return text;
    }

    static constexpr const char* template_name = "keyloft bundle XXXXXX";
    fs::path folder_;
};

} // namespace

TEST_F(Bundle, IsBesideTheFolderOfTheExecutableAndAbsoluteAndNotNormalised) {
    const std::string path = bundle_path();
    EXPECT_TRUE(path.starts_with('/'));
    EXPECT_EQ(path,
              fs::read_symlink("/proc/self/exe").parent_path().native() + "/../share/keyloft");
}

TEST_F(Bundle, PressStoresItsPathLessTheLastFourteenCharacters) {
    static_cast<void>(apply());
    const std::string path = bundle_path();
    EXPECT_EQ(ShellCommandPath, path.substr(0, path.size() - 14));
    EXPECT_TRUE(ShellCommandPath.ends_with("/..")) << ShellCommandPath;
}

TEST_F(Bundle, IsFoundInAFolderWithSpaces) {
    expect_found("two words");
}

TEST_F(Bundle, IsFoundInAFolderWithChineseCharacters) {
    expect_found("设置/硬件");
}

TEST_F(Bundle, IsFoundInAFolderWhoseNameIsNoUtf8) {
    expect_found("\xFF\xFE");
}

TEST_F(Bundle, IsFoundAtALongPath) {
    fs::path deep;
    for (int i = 0; i < 15; ++i)
        deep /= std::string(200, static_cast<char>('a' + i));
    expect_found(deep);
}

TEST_F(Bundle, IsFoundThroughALinkAndWhateverTheCurrentFolderIs) {
    expect_found("bin", "cd / && exec '%'");
    expect_found("bin", "cd '" + folder_.native() + "' && exec bin/printer");
    expect_found("bin", "ln -s '%' '" + folder_.native() + "/link' && exec '" + folder_.native() +
                            "/link'");
}

TEST_F(Bundle, IsFoundWithoutAnEnvironment) {
    expect_found("bin", "exec env -i '%'");
}
