// SPDX-License-Identifier: MIT
#include "midi_service/alsa/card_texts.h"

#include <cstdlib>
#include <fstream>

namespace {

/// The file's first line, or `otherwise` when there is none.
std::string first_line(const std::filesystem::path& file, const std::string& otherwise) {
    std::ifstream stream(file);
    std::string line;
    std::getline(stream, line);
    return line.empty() ? otherwise : line;
}

std::string card_name(int card, const std::string& otherwise) {
    char* raw = nullptr;
    if (snd_card_get_name(card, &raw) < 0)
        return otherwise;
    const std::unique_ptr<char, decltype(&std::free)> name(raw, &std::free);
    return name.get();
}

} // namespace

DeviceTexts card_texts(const std::string& client_name, const std::string& card_name,
                       const std::filesystem::path& folder) {
    // "device" links to the folder of a USB interface; the USB device is the folder above.
    const auto usb_device = folder / "device" / "..";
    return {.name = client_name,
            .model = first_line(usb_device / "product", card_name),
            .manufacturer = first_line(usb_device / "manufacturer", card_name)};
}

DeviceTexts device_texts(const ClientInfo& client) {
    if (client.card < 0)
        return {.name = client.name, .model = client.name, .manufacturer = {}};
    return card_texts(client.name, card_name(client.card, client.name),
                      "/sys/class/sound/card" + std::to_string(client.card));
}
