// SPDX-License-Identifier: MIT
#include "ctl/file_watch.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <deque>
#include <filesystem>
#include <string_view>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace {

/// A folder itself goes. Nobody is woken up by what happens in it.
constexpr std::uint32_t folder_goes = IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
/// Something in it changes, too. A file that is being written counts when it is closed.
constexpr std::uint32_t content_changes =
    folder_goes | IN_CLOSE_WRITE | IN_ATTRIB | IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;

constexpr int most_links = 40; // as the kernel has it
constexpr int most_tries = 8;  // while the folders change faster than they are followed

/// The parts of a path, without empty ones.
std::deque<std::string> parts_of(std::string_view path) {
    std::deque<std::string> parts;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find('/'), path.size());
        if (end > 0)
            parts.emplace_back(path.substr(0, end));
        path.remove_prefix(std::min(end + 1, path.size()));
    }
    return parts;
}

std::string inside(const std::string& folder, const std::string& name) {
    return folder.ends_with('/') ? folder + name : folder + "/" + name;
}

std::string parent_of(const std::string& folder) {
    const std::size_t end = folder.rfind('/');
    return end == 0 || end == std::string::npos ? "/" : folder.substr(0, end);
}

} // namespace

FileWatch::FileWatch(std::vector<std::string> paths) : paths_(std::move(paths)) {
    std::error_code ignored;
    const std::string here = std::filesystem::current_path(ignored).string();
    for (std::string& path : paths_) {
        if (!path.starts_with('/'))
            path.insert(0, inside(here, ""));
    }
    start();
}

FileWatch::~FileWatch() {
    stop();
}

bool FileWatch::take_changes() {
    if (descriptor_ < 0 || !read_events())
        return false;
    // The ways to the files may be others now.
    stop();
    start();
    return true;
}

void FileWatch::start() {
    trouble_.clear();
    descriptor_ = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    if (descriptor_ < 0) {
        trouble_ = "changes of files are not noticed: " + std::generic_category().message(errno);
        return;
    }
    for (const std::string& path : paths_) {
        int tries = 0;
        while (!follow(path) && tries < most_tries)
            ++tries;
        if (tries == most_tries)
            trouble_ = "changes of " + path + " may not be noticed: its folders come and go";
    }
}

void FileWatch::stop() {
    if (descriptor_ >= 0)
        close(descriptor_);
    descriptor_ = -1;
    folders_.clear();
}

/// False: a folder went meanwhile, and it is worth another try.
bool FileWatch::follow(const std::string& path) {
    std::deque<std::string> parts = parts_of(path);
    std::string folder = "/";
    int links = 0;
    while (!parts.empty()) {
        const std::string name = parts.front();
        parts.pop_front();
        if (name == "." || name == "..") {
            folder = name == "." ? folder : parent_of(folder);
            continue;
        }
        const std::string found = inside(folder, name);
        struct stat status {};
        const auto leads_on = [&] {
            return lstat(found.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && !parts.empty();
        };
        if (leads_on()) {
            if (!watch(folder, ""))
                return false;
            folder = found;
            continue;
        }
        // Watched first and looked at again, so that no change falls between the two.
        if (!watch(folder, name))
            return false;
        if (lstat(found.c_str(), &status) != 0)
            return true; // until something is made there
        std::array<char, 4096> target{};
        if (S_ISLNK(status.st_mode)) {
            const ssize_t length = readlink(found.c_str(), target.data(), target.size());
            if (length <= 0 || ++links > most_links)
                return length > 0;
            const std::string_view text(target.data(), static_cast<std::size_t>(length));
            const std::deque<std::string> detour = parts_of(text);
            parts.insert(parts.begin(), detour.begin(), detour.end());
            folder = text.starts_with('/') ? "/" : folder;
        } else {
            return !leads_on();
        }
    }
    return true;
}

/// Watches a folder for a name, or with an empty one only whether it goes itself. False: there is
/// no such folder any more.
bool FileWatch::watch(const std::string& path, const std::string& name) {
    Folder& folder = folders_[path];
    if (!name.empty())
        folder.names.insert(name);
    const std::uint32_t events = name.empty() ? folder_goes : content_changes;
    folder.number =
        inotify_add_watch(descriptor_, path.c_str(), events | IN_MASK_ADD | IN_DONT_FOLLOW);
    const int error = folder.number < 0 ? errno : 0;
    if (error == ENOENT || error == ENOTDIR)
        return false;
    if (error != 0 && !name.empty())
        trouble_ =
            "changes in " + path + " are not noticed: " + std::generic_category().message(error);
    return true;
}

/// Whether one of those that had come counts.
bool FileWatch::read_events() const {
    alignas(inotify_event) std::array<char, 16UL * 1024> room{};
    bool any = false;
    for (ssize_t length = 0; (length = read(descriptor_, room.data(), room.size())) > 0;) {
        std::string_view rest(room.data(), static_cast<std::size_t>(length));
        while (!rest.empty()) {
            inotify_event event{};
            std::memcpy(&event, rest.data(), sizeof event);
            // Its name is filled up with zeros.
            const std::string_view name = rest.substr(sizeof event, event.len);
            any = counts(event, name.substr(0, name.find('\0'))) || any;
            rest.remove_prefix(sizeof event + event.len);
        }
    }
    return any;
}

bool FileWatch::counts(const inotify_event& event, std::string_view name) const {
    if (name.empty())
        return true; // a folder has gone, or events were lost
    return std::ranges::any_of(folders_, [&](const auto& entry) {
        return entry.second.number == event.wd && entry.second.names.contains(std::string(name));
    });
}
