// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/alsa/endpoint_list.h"

#include <memory>
#include <string_view>
#include <vector>

/// The endpoints whose names are not the ones that stand in `table`, the kernel's table of clients
/// and ports. It is a hint for asking the sequencer: the table tells a name with a line break in it
/// apart from nothing.
[[nodiscard]] std::vector<Address> endpoints_named_otherwise(std::string_view table,
                                                             const EndpointList& endpoints);

/// Finds the endpoints that were renamed, which the kernel does not announce. The names of all
/// ports come in one system call, however many there are. Screen thread.
class NameCheck {
public:
    NameCheck() = default;
    ~NameCheck();
    NameCheck(const NameCheck&) = delete;
    NameCheck& operator=(const NameCheck&) = delete;

    /// Opens the kernel's table, if it is to be seen here.
    void open();
    [[nodiscard]] bool is_open() const { return file_ >= 0; }
    /// The endpoints to ask anew. None when the table is not open.
    [[nodiscard]] std::vector<Address> renamed(const EndpointList& endpoints);

private:
    void make_room(std::size_t size);

    int file_ = -1;
    std::unique_ptr<char[]> room_; ///< for the table
    std::size_t room_size_ = 0;
};
