// SPDX-License-Identifier: MIT
#include "simulation/machine_text.h"

namespace {

std::string count_text(const MappingTable& table) {
    return std::to_string(table.size()) + (table.size() == 1 ? " mapping" : " mappings");
}

std::string table_json(const MappingTable& table) {
    std::string json = "[";
    for (const auto& [part, mapping] : table) {
        json += json.size() > 1 ? "," : "";
        json += R"({"part":)" + std::to_string(part);
        json += R"(,"type":")" + std::string(type_text(mapping.type));
        json += R"(","channel":)" + std::to_string(mapping.channel);
        json += R"(,"controller":)" + std::to_string(mapping.controller) + "}";
    }
    return json + "]";
}

} // namespace

std::string_view type_text(std::uint8_t type) {
    switch (type) {
    case 0x80:
        return "Note Off";
    case 0x90:
        return "Note On";
    case 0xB0:
        return "Control Change";
    default:
        return "Bend Change";
    }
}

std::string event_text(const ConnectedMachine& machine, const MachineEvent& event) {
    switch (event.kind) {
    case MachineEvent::Kind::mapping:
        return "part " + std::to_string(event.part) + ": " +
               std::string(type_text(event.mapping.type)) + ", channel " +
               std::to_string(event.mapping.channel) + ", controller " +
               std::to_string(event.mapping.controller);
    case MachineEvent::Kind::save:
        return "saved: " + count_text(machine.firmware().saved_table());
    case MachineEvent::Kind::power_cycle:
        return "power cycle: back to " + count_text(machine.firmware().table());
    case MachineEvent::Kind::vanish:
        break;
    }
    return "vanished";
}

std::string tables_json(const ConnectedMachine& machine) {
    return R"({"machine":")" + machine.name() + R"(","table":)" +
           table_json(machine.firmware().table()) + R"(,"saved":)" +
           table_json(machine.firmware().saved_table()) + "}";
}
