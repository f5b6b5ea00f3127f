// SPDX-License-Identifier: MIT
#include "ctl/layout_files.h"

#include "setup/plain_text.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <fcntl.h>
#include <iterator>
#include <map>
#include <sys/stat.h>
#include <system_error>
#include <utility>

namespace {

/// Whatever reads like a file. Closes what it opened.
class Source {
public:
    Source(const std::string& name, int standard_input)
        : is_opened_(name != "-"),
          descriptor_(is_opened_ ? open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)
                                 : standard_input),
          error_(descriptor_ < 0 ? errno : 0) {}
    ~Source() {
        if (is_opened_ && descriptor_ >= 0)
            close(descriptor_);
    }
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    /// The whole content, or one byte more than is allowed.
    std::string read_all() {
        constexpr std::size_t piece = 64UL * 1024;
        std::string content;
        while (error_ == 0 && content.size() <= most_layout_bytes) {
            const std::size_t before = content.size();
            const std::size_t wanted = std::min(piece, most_layout_bytes + 1 - before);
            content.resize(before + wanted);
            const ssize_t length = read(descriptor_, content.data() + before, wanted);
            const int error = length < 0 ? errno : 0;
            content.resize(before + static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
            if (length == 0)
                break;
            if (error != EINTR)
                error_ = error;
        }
        return content;
    }

    /// Why not all was read: an errno, else 0.
    [[nodiscard]] int error() const { return error_; }

    using Identity = std::pair<dev_t, ino_t>;
    [[nodiscard]] Identity identity() const {
        struct stat found {};
        (void)fstat(descriptor_, &found); // it is open
        return {found.st_dev, found.st_ino};
    }

private:
    const bool is_opened_;
    const int descriptor_;
    int error_;
};

std::string error_text(int error) {
    if (error == EISDIR)
        return "this is a folder";
    if (error == ENOENT)
        return "there is no such file";
    return "it cannot be read: " + std::generic_category().message(error);
}

std::string twice_text(const std::string& name, const std::string& other) {
    std::string text = "this file is given twice";
    if (name != other)
        text += ", as " + setup::printable(other) + ", too";
    return text;
}

} // namespace

setup::Layout read_layout_files(const std::vector<std::string>& names, int standard_input) {
    std::vector<setup::LayoutFile> files;
    std::vector<setup::LayoutMistake> mistakes;
    const auto complain = [&mistakes](const std::string& name, std::string text) {
        setup::LayoutMistake& mistake = mistakes.emplace_back();
        mistake.place.file = name;
        mistake.text = std::move(text);
    };
    // All stay open: a number of a file that is gone may soon be another one's.
    std::deque<Source> sources;
    std::map<Source::Identity, std::string> seen;
    for (const std::string& name : names) {
        Source& source = sources.emplace_back(name, standard_input);
        if (source.error() == 0) {
            const auto [other, is_new] = seen.emplace(source.identity(), name);
            if (!is_new) {
                complain(name, twice_text(name, other->second));
                continue;
            }
        }
        std::string content = source.read_all();
        if (source.error() != 0)
            complain(name, error_text(source.error()));
        else if (content.size() > most_layout_bytes)
            complain(name, "it has more than 1 MiB, which is too much for a layout");
        else
            files.push_back({name, std::move(content)});
    }
    setup::Layout layout = setup::read_layout(files);
    if (mistakes.empty())
        return layout;
    std::ranges::move(layout.mistakes, std::back_inserter(mistakes));
    return {.mistakes = std::move(mistakes)};
}
