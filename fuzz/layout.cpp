// SPDX-License-Identifier: MIT
// A layout, in one file or in two with a line of three dashes between them. Whatever it is, it has
// machines or mistakes; each mapping can be sent and stands where its place says. Files in which
// each line has the simplest form are read a second time here, line by line.
#include "setup/layout.h"
#include "fuzz/target.h"
#include "protocol/device_code.h"

#include <map>
#include <optional>
#include <regex>
#include <set>
#include <string>
#include <string_view>
#include <tuple>

namespace {

using setup::Layout;
using setup::LayoutFile;
using setup::Place;
using Files = std::vector<LayoutFile>;
using Mappings = std::map<std::pair<std::uint32_t, int>, protocol::KeyMapping>;

Files files_of(std::string_view input) {
    constexpr std::string_view border = "\n---\n";
    const std::size_t end = input.find(border);
    if (end == std::string_view::npos)
        return {{"a", std::string(input)}};
    return {{"a", std::string(input.substr(0, end))},
            {"b", std::string(input.substr(end + border.size()))}};
}

/// What stands at a place, to the end of its line.
std::string_view text_at(const Files& files, const Place& place) {
    std::string_view text = files.at(place.file == "a" ? 0 : 1).content;
    require(place.line > 0 && place.column > 0, "lines and columns count from 1");
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    for (unsigned line = 1; line < place.line; ++line) {
        const std::size_t end = text.find('\n');
        require(end != std::string_view::npos, "the line is there");
        text.remove_prefix(end + 1);
    }
    text = text.substr(0, text.find('\n'));
    for (unsigned column = 1; column < place.column; ++column) {
        require(!text.empty(), "the column is there");
        do
            text.remove_prefix(1);
        while (!text.empty() && (static_cast<unsigned char>(text.front()) & 0xC0) == 0x80);
    }
    return text;
}

/// Whether a key stands there that may be this one. In quotes it may be spelled in any way.
bool has_key(std::string_view text, std::string_view wanted, bool may_have_zeros) {
    if (text.starts_with('"') || text.starts_with('\''))
        return true;
    while (may_have_zeros && text.starts_with('0') && text.size() > 1 && text[1] >= '0' &&
           text[1] <= '9')
        text.remove_prefix(1);
    std::string key(text.substr(0, wanted.size()));
    for (char& letter : key)
        letter = letter >= 'a' && letter <= 'f' ? static_cast<char>(letter - 'a' + 'A') : letter;
    return key == wanted;
}

void check_sentence(const std::string& line) {
    for (const char letter : line) {
        require(static_cast<unsigned char>(letter) >= ' ' && letter != '\x7F',
                "nothing steers a terminal");
    }
}

void check_mistakes(const Layout& layout, const Files& files) {
    require(layout.machines.empty() != layout.mistakes.empty(), "machines or mistakes");
    require(layout.mistakes.empty() || layout.warnings.empty(), "warnings are about machines");
    for (const setup::LayoutMistake& mistake : layout.mistakes) {
        require(!mistake.text.empty(), "a mistake has a sentence");
        check_sentence(mistake_line(mistake));
        require(mistake.place.line > 0 && mistake.place.column > 0, "a mistake has a place");
        require(mistake.place.file == "a" || files.size() == 2, "and a file");
    }
    for (std::size_t i = 1; i < layout.mistakes.size(); ++i) {
        const Place& one = layout.mistakes[i - 1].place;
        const Place& other = layout.mistakes[i].place;
        require(std::tie(one.file, one.line, one.column) <=
                    std::tie(other.file, other.line, other.column),
                "mistakes are in order");
    }
}

/// The machines' mappings, once each is looked at.
Mappings check_machines(const Layout& layout, const Files& files) {
    Mappings mappings;
    std::size_t equal = 0;
    for (const setup::MachineLayout& machine : layout.machines) {
        require(mappings.empty() || mappings.rbegin()->first.first < machine.code, "codes ascend");
        require(!machine.entries.empty(), "a machine has parts");
        require(has_key(text_at(files, machine.place), protocol::code_text(machine.code), false),
                "the code stands at its place");
        int last = -1;
        std::set<protocol::Message> messages;
        for (const setup::LayoutEntry& entry : machine.entries) {
            auto message = protocol::message_of(entry.mapping);
            require(message.has_value(), "a mapping can be sent");
            require(entry.mapping.part > last, "parts ascend");
            last = entry.mapping.part;
            require(has_key(text_at(files, entry.place), std::to_string(last), true),
                    "the part stands at its place");
            (*message)[2] = 0;
            equal += messages.insert(*message).second ? 0 : 1;
            mappings[{machine.code, last}] = entry.mapping;
        }
    }
    require(layout.warnings.size() == equal, "a warning for each message that a machine has twice");
    return mappings;
}

/// Reads lines of the simplest form. One of another form: nothing is known, and the result is
/// false. Else `is_right` says whether there is no mistake in them.
bool read_simply(const LayoutFile& file, Mappings& mappings, bool& is_right) {
    static const std::string number = "([1-9][0-9]{0,3}|0)";
    static const std::regex table("\\[([0-9A-Z]{1,9})\\]");
    static const std::regex part("([0-9]{1,4}) = \\{ type = \"([A-Za-z ]{1,20})\", channel = " +
                                 number + ", controller = " + number + " \\}");
    std::optional<std::uint32_t> code;
    std::set<std::string> tables;
    bool has_parts = false;
    for (std::size_t start = 0; start < file.content.size();) {
        const std::size_t end = std::min(file.content.find('\n', start), file.content.size());
        const std::string line = file.content.substr(start, end - start);
        start = end + 1;
        std::smatch found;
        if (std::regex_match(line, found, table)) {
            is_right = is_right && (tables.empty() || has_parts) && tables.insert(found[1]).second;
            tables.insert(found[1]);
            code = protocol::parse_code(found[1].str());
            is_right = is_right && code;
            has_parts = false;
        } else if (std::regex_match(line, found, part)) {
            const auto type = protocol::type_named(found[2].str());
            const protocol::KeyMapping mapping{std::stoi(found[1]),
                                               type.value_or(protocol::MessageType::note_on),
                                               std::stoi(found[3]), std::stoi(found[4])};
            is_right = is_right && code && type && protocol::message_of(mapping) &&
                       mappings.emplace(std::pair(*code, mapping.part), mapping).second;
            has_parts = true;
        } else if (!line.empty()) {
            return false;
        }
    }
    is_right = is_right && has_parts;
    return true;
}

void check_simple(const Layout& layout, const Files& files, const Mappings& mappings) {
    Mappings simple;
    bool is_right = true;
    for (const LayoutFile& file : files) {
        if (!read_simply(file, simple, is_right))
            return;
    }
    require(is_right == layout.mistakes.empty(), "mistakes are where they are expected");
    require(!is_right || simple == mappings, "the mappings are those of the lines");
}

void check_moved(const Layout& layout) {
    const Layout moved = moved_to(layout, 0x4AC0F4C4);
    if (layout.machines.size() == 1) {
        require(moved.machines.size() == 1 && moved.machines[0].code == 0x4AC0F4C4 &&
                    moved.machines[0].entries.size() == layout.machines[0].entries.size(),
                "the layout of one machine is another one's");
        return;
    }
    require(moved.machines.empty() && !moved.mistakes.empty(), "several machines are no one's");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Files files = files_of({reinterpret_cast<const char*>(data), size});
    const Layout layout = read_layout(files);
    check_mistakes(layout, files);
    check_simple(layout, files, check_machines(layout, files));
    check_moved(layout);
    return 0;
}
