// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>

// Starting and stopping the MIDI link, and the command. Screen thread.

/// Opens the MIDI client and its two ports and clears the name buffers; connects nothing.
/// Returns the status of the input port's creation. Prints nothing.
std::int32_t midi_init();

/// Disposes of the client and the ports. Their variables keep stale values until the next
/// midi_init(). Returns the status of the last disposal. Prints "midi_exit".
std::int32_t midi_exit();

/// Sends one configuration message to the current machine and waits for its echo: at least 311 ms.
/// `part` 0 to 127: data byte 2. `status`: type nibble and channel nibble. `controller` 0 to 127:
/// data byte 1, given twice; the pair has to agree in its low seven bits.
/// Returns 0 if the message was sent or there are no MIDI devices at all, 1 if it was refused or
/// not sent. Only the printed lines tell whether the echo came.
std::int32_t usb_midi_main(std::uint8_t part, std::uint8_t status, std::uint8_t controller,
                           std::uint8_t controller2);
