// SPDX-License-Identifier: MIT
#include "demo/demo.h"

#include "keyloft/ContentView.h"
#include "keyloft/keyloftApp.h"

#include <cstdio>

namespace {

constexpr std::uint32_t machine_code = 0x4AC5F4C4;

const char* type_name(std::uint8_t type) {
    switch (type) {
    case 0x80:
        return "Note Off";
    case 0x90:
        return "Note On";
    case 0xE0:
        return "Bend Change";
    default:
        return "Control Change";
    }
}

void print_table(const char* title, const MappingTable& table) {
    std::printf("%s\n", title);
    for (const auto& [part, mapping] : table) {
        std::printf("    part %d: %s, channel %d, controller %d\n", part, type_name(mapping.type),
                    mapping.channel, mapping.controller);
    }
    if (table.empty())
        std::printf("    nothing\n");
}

} // namespace

int run_demo(int argc, char** argv,
             const std::function<void(ContentView&, EmbeddedMachine&)>& on_screen) {
    EmbeddedBackend service;
    install_midi_backend(&service);
    int status = 0;
    {
        EmbeddedMachine machine(service, machine_code);
        status = keyloftApp().run(argc, argv, [&](ContentView& screen) {
            QObject::connect(&screen, &ContentView::action_finished, &screen, [&machine] {
                print_table("machine 4AC5F4C4 holds:", machine.table());
                print_table("machine 4AC5F4C4 has saved:", machine.saved_table());
            });
            if (on_screen)
                on_screen(screen, machine);
        });
    }
    install_midi_backend(nullptr);
    return status;
}
