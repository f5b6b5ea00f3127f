// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/alsa/endpoint_list.h"

#include <string_view>
#include <vector>

/// The endpoints whose names differ from those in `table`, the kernel's table of clients and ports.
/// A hint only: in the table a name with a line break cannot be told from two lines. Ask the
/// sequencer before you act.
[[nodiscard]] std::vector<Address> endpoints_named_otherwise(std::string_view table,
                                                             const EndpointList& endpoints);

/// The kernel's table of clients and ports: the names of all ports in one system call, however many
/// there are, once there is room for them. Calling thread.
class NameTable {
public:
    NameTable() = default;
    ~NameTable();
    NameTable(const NameTable&) = delete;
    NameTable& operator=(const NameTable&) = delete;

    /// Opens the table, if this process can see it.
    void open();
    [[nodiscard]] bool is_open() const { return file_ >= 0; }
    /// The endpoints that may have been renamed: those whose names differ, or all of them when the
    /// table cannot be read.
    [[nodiscard]] std::vector<Address> suspects(const EndpointList& endpoints);

private:
    int file_ = -1;
    std::vector<char> room_{}; ///< for the table
};
