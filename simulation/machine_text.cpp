// SPDX-License-Identifier: MIT
#include "simulation/machine_text.h"

#include <nlohmann/json.hpp>

namespace {

std::string count_text(const MappingTable& table) {
    return std::to_string(table.size()) + (table.size() == 1 ? " mapping" : " mappings");
}

nlohmann::ordered_json table_json(const MappingTable& table) {
    auto mappings = nlohmann::ordered_json::array();
    for (const auto& [part, type, channel, controller] : table)
        mappings.push_back({{"part", part},
                            {"type", protocol::type_name(type)},
                            {"channel", channel},
                            {"controller", controller}});
    return mappings;
}

} // namespace

std::string event_text(const ConnectedMachine& machine, const MachineEvent& event) {
    switch (event.kind) {
    case MachineEvent::Kind::mapping:
        return protocol::mapping_text(event.mapping);
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
    return nlohmann::ordered_json{{"machine", machine.name()},
                                  {"table", table_json(machine.firmware().table())},
                                  {"saved", table_json(machine.firmware().saved_table())}}
        .dump();
}
