// SPDX-License-Identifier: MIT
#include "tests/support/device_state.h"

#include "Include/usb_midi.h"

#include <algorithm>
#include <cstring>
#include <iterator>

void reset_device_state() {
    debug_flag = 0;
    VID_val = 0;
    PID_val = 0;
    VID_PID_val = 0;
    std::memset(device_name, 0, sizeof device_name);
    realtime_connect_state_flag = 0;
    client = 0;
    inPort = 0;
    gOutPort = 0;
    gDest = 0;
    pname = nullptr;
    pmanuf = nullptr;
    pmodel = nullptr;
    for (char* const buffer : {jname, name, manuf, model})
        std::memset(buffer, 0, sizeof jname);
    std::memset(offline_flag, 0, sizeof offline_flag);
    std::memset(midiout_databuffer, 0, sizeof midiout_databuffer);
    set_up_ok_flag = 0;
    std::fill(std::begin(midi_setup_data), std::end(midi_setup_data), std::uint8_t{0});
    std::fill(std::begin(midi_pack_setup_data), std::end(midi_pack_setup_data), std::uint8_t{0});
}

void set_current_name(std::string_view bytes) {
    std::memset(device_name, 0, sizeof device_name);
    bytes.copy(device_name, sizeof device_name);
}
