// SPDX-License-Identifier: MIT
#include "keyloft/keyloftApp.h"
#include "midi_service/alsa/alsa_backend.h"

int main(int argc, char** argv) {
    const auto backend = AlsaBackend::create();
    install_midi_backend(backend.get());
    const auto trouble_line = [&backend] {
        const auto trouble = backend->trouble();
        return trouble ? trouble->line() : std::string();
    };
    const int status = keyloftApp{}.run(argc, argv, {}, trouble_line);
    install_midi_backend(nullptr);
    return status;
}
