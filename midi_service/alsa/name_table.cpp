// SPDX-License-Identifier: MIT
#include "midi_service/alsa/name_table.h"

#include <algorithm>
#include <charconv>
#include <fcntl.h>
#include <optional>
#include <unistd.h>

namespace {

/// Enough for a thousand ports. It grows for more.
constexpr std::size_t usual_room = 1U << 16;

struct Line {
    unsigned number;
    std::string_view quoted; ///< what follows the quotation mark in front of the name
};

/// Reads `<word> <number> : "<name>...`, with spaces before the number.
std::optional<Line> read_line(std::string_view line, std::string_view word) {
    constexpr std::string_view before_name = " : \"";
    if (!line.starts_with(word))
        return std::nullopt;
    line.remove_prefix(word.size());
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    unsigned number = 0;
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
    line.remove_prefix(static_cast<std::size_t>(end - line.data()));
    if (error != std::errc{} || number > 0xFF || !line.starts_with(before_name))
        return std::nullopt;
    return Line{number, line.substr(before_name.size())};
}

bool starts_with_name(std::string_view quoted, std::string_view name) {
    return quoted.starts_with(name) && quoted.substr(name.size()).starts_with("\" (");
}

} // namespace

std::vector<Address> endpoints_named_otherwise(std::string_view table,
                                               const EndpointList& endpoints) {
    std::vector<Address> result;
    Address address;
    while (!table.empty()) {
        const auto text = table.substr(0, table.find('\n'));
        table.remove_prefix(std::min(text.size() + 1, table.size()));
        if (const auto client = read_line(text, "Client "))
            address.client = static_cast<std::uint8_t>(client->number);
        const auto port = read_line(text, "  Port ");
        if (!port)
            continue;
        address.port = static_cast<std::uint8_t>(port->number);
        const Object* endpoint = endpoints.find(address);
        if (endpoint && endpoint->is_endpoint() &&
            !starts_with_name(port->quoted, endpoint->name()))
            result.push_back(address);
    }
    return result;
}

NameTable::~NameTable() {
    if (is_open())
        close(file_);
}

void NameTable::open() {
    file_ = ::open("/proc/asound/seq/clients", O_RDONLY | O_CLOEXEC);
    if (is_open())
        room_.resize(usual_room);
}

std::vector<Address> NameTable::suspects(const EndpointList& endpoints) {
    // A read from the start makes the kernel write the table anew and give all of it at once.
    ssize_t length = pread(file_, room_.data(), room_.size(), 0);
    while (length > 0 && static_cast<std::size_t>(length) == room_.size()) {
        room_.resize(2 * room_.size());
        length = pread(file_, room_.data(), room_.size(), 0);
    }
    if (length <= 0)
        return endpoints.addresses();
    return endpoints_named_otherwise({room_.data(), static_cast<std::size_t>(length)}, endpoints);
}
