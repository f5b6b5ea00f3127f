// SPDX-License-Identifier: MIT
#pragma once

#include "midi_service/alsa/endpoint_list.h"
#include "midi_service/alsa/sequencer.h"

#include <filesystem>
#include <string>

/// The texts of a sound card's device: model and manufacturer from its USB descriptor, or the
/// card's name when there is none. `folder` is the card's in sysfs.
[[nodiscard]] DeviceTexts card_texts(const std::string& client_name, const std::string& card_name,
                                     const std::filesystem::path& folder);

/// The texts of a client's device. A program's model is its name, and it has no manufacturer.
[[nodiscard]] DeviceTexts device_texts(const ClientInfo& client);
