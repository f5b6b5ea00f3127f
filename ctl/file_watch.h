// SPDX-License-Identifier: MIT
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

struct inotify_event;

/// Notices when files are written, replaced, removed or made, whatever links and folders lead to
/// them, by watching the folders on the way. One thread.
class FileWatch {
public:
    /// `paths` may lead to nothing yet. Relative ones start in the working folder of this moment.
    explicit FileWatch(std::vector<std::string> paths);
    ~FileWatch();
    FileWatch(const FileWatch&) = delete;
    FileWatch& operator=(const FileWatch&) = delete;

    /// Readable when something may have changed; -1: nothing can be watched. It may change in
    /// take_changes().
    [[nodiscard]] int descriptor() const { return descriptor_; }

    /// Whether a file may have changed since the last call, or since the start: who reads the files
    /// now reads what they have become, and is told of the next change. Does not wait.
    [[nodiscard]] bool take_changes();

    /// Why some change may go unnoticed, as a sentence; else empty.
    [[nodiscard]] const std::string& trouble() const { return trouble_; }

private:
    /// A folder on the way.
    struct Folder {
        int number = -1; ///< the kernel's for the watch; -1: it is not watched
        /// Of what counts in it: links and files, and what is not there yet.
        std::set<std::string> names{};
    };

    void start();
    void stop();
    [[nodiscard]] bool follow(const std::string& path);
    [[nodiscard]] bool watch(const std::string& path, const std::string& name);
    [[nodiscard]] bool read_events() const;
    [[nodiscard]] bool counts(const inotify_event& event, std::string_view name) const;

    std::vector<std::string> paths_;
    int descriptor_ = -1;
    std::map<std::string, Folder> folders_{}; ///< by path, without links
    std::string trouble_{};
};
