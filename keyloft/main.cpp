// SPDX-License-Identifier: MIT
#include "keyloft/keyloftApp.h"
#include "midi_service/alsa/alsa_backend.h"

int main(int argc, char** argv) {
    AlsaBackend backend;
    install_midi_backend(&backend);
    const int status = keyloftApp{}.run(argc, argv);
    install_midi_backend(nullptr);
    return status;
}
