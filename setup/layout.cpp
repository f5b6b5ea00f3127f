// SPDX-License-Identifier: MIT
#include "setup/layout.h"

#include "protocol/device_code.h"
#include "setup/layout_characters.h"
#include "setup/layout_text.h"
#include "setup/plain_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <map>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>

// A copy of the library for this file alone, without exceptions. What it asserts is not true of
// every text that it refuses a moment later, and with NDEBUG it makes Clang rely on that.
#undef NDEBUG
#define TOML_ASSERT(expression) static_assert(true)
#define TOML_HEADER_ONLY 1
#define TOML_EXCEPTIONS 0
#define TOML_ENABLE_FORMATTERS 0
#define TOML_MAX_NESTED_VALUES 8 // each one is a call inside a call
#include <toml++/toml.h>

namespace setup {

namespace {

/// A machine with the parts that are named, whether there is a mistake in them or not.
struct ReadMachine {
    Place place;
    std::map<int, LayoutEntry> entries;
};

constexpr std::array<std::string_view, 3> value_keys = {"type", "channel", "controller"};

/// The number of a part: decimal digits and nothing else.
std::optional<int> part_number(std::string_view text) {
    int number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{} || stop != end || text.front() == '-' ||
        number > protocol::highest_number)
        return std::nullopt;
    return number;
}

/// A value as a sentence names it.
std::string found_text(const toml::node& node) {
    if (const auto* const text = node.as_string())
        return "the text " + quoted(text->get());
    if (const auto* const whole = node.as_integer())
        return std::to_string(whole->get());
    if (const auto* const number = node.as_floating_point()) {
        std::array<char, 32> digits{};
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number->get());
        return {digits.data(), end.ptr};
    }
    if (const auto* const truth = node.as_boolean())
        return truth->get() ? "true" : "false";
    if (node.is_table())
        return "a table";
    return node.is_array() ? "an array" : "a date or time";
}

bool is_before(const toml::source_position& one, const toml::source_position& other) {
    return std::tie(one.line, one.column) < std::tie(other.line, other.column);
}

/// A table's keys and values in the order in which they stand in the file: the library sorts them.
using Item = std::pair<const toml::key*, const toml::node*>;
std::vector<Item> in_order(const toml::table& table) {
    std::vector<Item> items;
    items.reserve(table.size());
    for (const auto& item : table)
        items.emplace_back(&item.first, &item.second);
    std::ranges::sort(items, is_before,
                      [](const Item& item) { return item.first->source().begin; });
    return items;
}

class Reader {
public:
    void read(const LayoutFile& file);
    [[nodiscard]] Layout layout();

private:
    [[nodiscard]] Place place_of(const toml::source_position& position) const {
        return {file_, position.line, position.column};
    }
    void complain(const toml::source_position& position, std::string text) {
        layout_.mistakes.push_back({place_of(position), std::move(text)});
    }
    void read_top(const toml::table& top);
    void read_machine(const toml::key& key, const toml::node& node, std::uint32_t code);
    void read_part(const toml::key& key, const toml::node& node, std::uint32_t code);
    void read_mapping(const toml::source_position& position, const std::string& part,
                      const toml::table& table, protocol::KeyMapping& mapping);
    void read_misplaced(const toml::key& key, const toml::node& node);
    void read_value(const toml::key& key, const toml::node& node, const std::string& part,
                    protocol::KeyMapping& mapping);
    void read_type(const toml::node& node, const std::string& name, protocol::MessageType& type);
    void read_number(const toml::node& node, const std::string& name, int least, int most,
                     int& into);
    void warn_of_equals(const MachineLayout& machine);

    std::string file_;
    std::map<std::uint32_t, ReadMachine> machines_;
    Layout layout_;
};

void Reader::read(const LayoutFile& file) {
    file_ = file.name;
    if (auto mistake = unreadable(file)) {
        layout_.mistakes.push_back(std::move(*mistake));
        return;
    }
    const toml::parse_result result = toml::parse(std::string_view(file.content));
    if (!result) {
        const toml::parse_error& error = result.error();
        complain(error.source().begin, printable(error.description()));
        return;
    }
    const std::size_t before = layout_.mistakes.size();
    read_top(result.table());
    if (result.table().empty())
        complain({1, 1}, "there is no machine in the file, such as [4AC5F4C4]");
    std::stable_sort(layout_.mistakes.begin() + static_cast<std::ptrdiff_t>(before),
                     layout_.mistakes.end(),
                     [](const LayoutMistake& one, const LayoutMistake& other) {
                         return std::tie(one.place.line, one.place.column) <
                                std::tie(other.place.line, other.place.column);
                     });
}

void Reader::read_top(const toml::table& top) {
    std::map<std::uint32_t, const toml::key*> codes; // that stand in this file
    for (const Item& item : in_order(top)) {
        const std::string_view name = item.first->str();
        const toml::source_position& position = item.first->source().begin;
        const auto code = protocol::parse_code(name);
        if (!code) {
            const bool is_outside = !item.second->is_table() || part_number(name);
            complain(position, is_outside ? outside_text(name) : no_code_text(name));
            if (const toml::table* const table = item.second->as_table()) {
                for (const Item& part : in_order(*table))
                    read_misplaced(*part.first, *part.second);
            }
            continue;
        }
        const auto [other, is_new] = codes.emplace(*code, item.first);
        if (!is_new)
            complain(position, same_machine_text(name, other->second->str(),
                                                 place_of(other->second->source().begin)));
        read_machine(*item.first, *item.second, *code);
    }
}

void Reader::read_machine(const toml::key& key, const toml::node& node, std::uint32_t code) {
    const toml::table* const table = node.as_table();
    if (table == nullptr) {
        complain(key.source().begin, no_table_text(key.str(), found_text(node)));
        return;
    }
    if (table->empty())
        complain(key.source().begin, no_parts_text(key.str()));
    machines_.emplace(code, ReadMachine{place_of(key.source().begin), {}});
    for (const Item& item : in_order(*table))
        read_part(*item.first, *item.second, code);
}

void Reader::read_part(const toml::key& key, const toml::node& node, std::uint32_t code) {
    const toml::source_position& position = key.source().begin;
    const auto part = part_number(key.str());
    if (!part) {
        complain(position, no_part_text(key.str()));
        read_misplaced(key, node);
        return;
    }
    LayoutEntry entry{{.part = *part}, place_of(position)};
    if (const toml::table* const table = node.as_table())
        read_mapping(position, part_name(*part), *table, entry.mapping);
    else
        complain(position, no_mapping_text(part_name(*part), found_text(node)));
    const auto [other, is_new] = machines_[code].entries.emplace(*part, std::move(entry));
    if (!is_new)
        complain(position, same_part_text(code, *part, other->second.place));
}

void Reader::read_mapping(const toml::source_position& position, const std::string& part,
                          const toml::table& table, protocol::KeyMapping& mapping) {
    for (const auto& item : table)
        read_value(item.first, item.second, part, mapping);
    for (const std::string_view key : value_keys) {
        if (!table.contains(key))
            complain(position, missing_key_text(part, key));
    }
}

/// Below a name that is no machine's or no part's: what looks like a mapping is looked at, so that
/// all mistakes are said at once.
void Reader::read_misplaced(const toml::key& key, const toml::node& node) {
    const toml::table* const table = node.as_table();
    if (table == nullptr || std::ranges::none_of(value_keys, [table](std::string_view value) {
            return table->contains(value);
        }))
        return;
    const auto part = part_number(key.str());
    protocol::KeyMapping unused;
    read_mapping(key.source().begin, part ? part_name(*part) : part_name(key.str()), *table,
                 unused);
}

void Reader::read_value(const toml::key& key, const toml::node& node, const std::string& part,
                        protocol::KeyMapping& mapping) {
    const std::string name = value_name(key.str(), part);
    if (key.str() == "type")
        read_type(node, name, mapping.type);
    else if (key.str() == "channel")
        read_number(node, name, 1, protocol::highest_channel, mapping.channel);
    else if (key.str() == "controller")
        read_number(node, name, 0, protocol::highest_number, mapping.controller);
    else
        complain(key.source().begin, unknown_key_text(part, key.str()));
}

void Reader::read_type(const toml::node& node, const std::string& name,
                       protocol::MessageType& type) {
    const auto* const text = node.as_string();
    const auto known = text == nullptr ? std::nullopt : protocol::type_named(text->get());
    if (known)
        type = *known;
    else
        complain(node.source().begin,
                 wrong_type_text(name, text == nullptr ? found_text(node) : quoted(text->get())));
}

void Reader::read_number(const toml::node& node, const std::string& name, int least, int most,
                         int& into) {
    const auto* const number = node.as_integer();
    if (number != nullptr && number->get() >= least && number->get() <= most)
        into = static_cast<int>(number->get());
    else
        complain(node.source().begin, wrong_number_text(name, found_text(node), least, most));
}

void Reader::warn_of_equals(const MachineLayout& machine) {
    std::map<std::tuple<protocol::MessageType, int, int>, const LayoutEntry*> messages;
    for (const LayoutEntry& entry : machine.entries) {
        const protocol::KeyMapping& mapping = entry.mapping;
        const auto [other, is_new] =
            messages.emplace(std::tuple(mapping.type, mapping.channel, mapping.controller), &entry);
        if (is_new)
            continue;
        layout_.warnings.push_back(
            {entry.place, same_message_text(machine.code, entry, *other->second)});
    }
}

Layout Reader::layout() {
    if (!layout_.mistakes.empty())
        return std::move(layout_);
    for (auto& [code, machine] : machines_) {
        MachineLayout read{code, std::move(machine.place), {}};
        for (auto& [part, entry] : machine.entries)
            read.entries.push_back(std::move(entry));
        warn_of_equals(read);
        layout_.machines.push_back(std::move(read));
    }
    return std::move(layout_);
}

} // namespace

Layout read_layout(std::span<const LayoutFile> files) {
    Reader reader;
    for (const LayoutFile& file : files)
        reader.read(file);
    return reader.layout();
}

Layout moved_to(Layout layout, std::uint32_t code) {
    for (std::size_t i = 1; i < layout.machines.size(); ++i) {
        layout.mistakes.push_back(
            {layout.machines[i].place,
             second_machine_text(layout.machines[i].code, layout.machines.front())});
    }
    if (!layout.mistakes.empty())
        return {.mistakes = std::move(layout.mistakes)};
    if (!layout.machines.empty())
        layout.machines.front().code = code;
    return layout;
}

} // namespace setup
