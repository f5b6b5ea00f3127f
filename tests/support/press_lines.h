// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <span>
#include <string>

// The lines that the program prints in a press, for the tests of whole presses. The tests of the
// device layer and of the screen's actions have them as literals.

/// The name of the family's machine `number`, 0 to 15.
[[nodiscard]] std::string family_name(unsigned number);

/// One probe: before the machine's connection, and after it.
[[nodiscard]] std::string probe_starts_line(unsigned machine);
[[nodiscard]] std::string probe_ends_line(unsigned machine);
/// Naming a machine of the family, before its connection.
[[nodiscard]] std::string naming_lines(unsigned machine);
/// The automatic choice of a machine, after its connection.
[[nodiscard]] std::string automatic_choice_line(unsigned machine);
/// The choice of a machine by the menu, before the connection and after it.
[[nodiscard]] std::string manual_naming_lines(unsigned machine);
[[nodiscard]] std::string manual_choice_lines(const std::string& menu);

/// A connection: the number of sources; then that none matched, or which one and its whole name.
[[nodiscard]] std::string sources_line(std::size_t sources);
inline const std::string no_source_line = "midi init failed \r\n";
[[nodiscard]] std::string source_line(std::size_t index);
[[nodiscard]] std::string online_line(const std::string& name, bool is_online);

/// A search through the devices: its start, the number of devices, and what was found.
inline const std::string scan_line = "send_midi_out_data\r\n";
[[nodiscard]] std::string devices_line(std::size_t devices);
inline const std::string presence_line = "no macthing name B \r\n"; ///< found, when only looking
inline const std::string found_line = "midiOutShortMsg\r\n";        ///< found, when sending
/// Between the two looks and the third, which sends.
inline const std::string command_line = "key_code_value_set\r\n";

/// A lookup: the number of destinations and, if there are any, the last one's first eight bytes.
[[nodiscard]] std::string destinations_line(std::size_t destinations);
[[nodiscard]] std::string last_destination_line(const std::string& name);
/// After three lookups.
[[nodiscard]] std::string destination_line(std::uint32_t index);
inline const std::string sending_line = "clock mc\r\n";

/// A command up to its first send. There are `count` devices and destinations; the machine is the
/// one at `index`, and `last` is the last one's name.
[[nodiscard]] std::string lines_up_to_sending(std::size_t count, std::uint32_t index,
                                              const std::string& last);

/// What the receive thread prints for a packet. `expected` and `kept` are the first two bytes of
/// the expected echo and of the packet buffer afterwards.
[[nodiscard]] std::string heard_lines(std::span<const std::uint8_t> packet,
                                      std::span<const std::uint8_t> expected,
                                      std::span<const std::uint8_t> kept, bool matches);

/// After the wait for the echo.
inline const std::string success_line = "设置成功了 \r\n";
inline const std::string failure_line = "设置失败obk\r\n";
