// SPDX-License-Identifier: MIT
#include "demo/demo.h"

#include "keyloft/ContentView.h"
#include "keyloft/keyloftApp.h"
#include "protocol/device_code.h"

#include <cstdio>

namespace {

constexpr std::uint32_t machine_code = protocol::family_code(5);

void print_table(const char* title, const MappingTable& table) {
    std::printf("machine %s %s:\n", protocol::code_text(machine_code).c_str(), title);
    for (const protocol::KeyMapping& mapping : table)
        std::printf("    %s\n", protocol::mapping_text(mapping).c_str());
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
            screen.setWindowTitle(QStringLiteral("keyloft 演示(Demo)"));
            QObject::connect(&screen, &ContentView::action_finished, &screen, [&machine] {
                print_table("holds", machine.table());
                print_table("has saved", machine.saved_table());
            });
            if (on_screen)
                on_screen(screen, machine);
        });
    }
    install_midi_backend(nullptr);
    return status;
}
