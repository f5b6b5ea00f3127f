// SPDX-License-Identifier: MIT
#pragma once

#include "Include/main.h"
#include "Include/set_device_name.h"
#include "midi_service/midi_service.h"

#include <atomic>
#include <cstdint>

// Everything the device layer exports, together with the two headers above. The variables start at
// zero, live as long as the process, and belong to the screen thread unless their comment says
// otherwise.

// --- the current machine, written by the naming functions ---

/// Not 0: debug_printf() prints. Nothing sets it.
extern std::uint8_t debug_flag;
/// The high half, the low half and the whole of the device code, as read back from `device_name`.
extern std::uint16_t VID_val;
extern std::uint16_t PID_val;
extern std::uint32_t VID_PID_val;
/// Up to eight upper-case hexadecimal digits, then zeros. Endpoint names are compared with its
/// first eight bytes, including any terminator and what follows it.
extern char device_name[24];

// --- the MIDI link ---

/// 1: the last connection step connected a source that is online. 0: none, or it is offline.
extern std::uint8_t realtime_connect_state_flag;
/// The client and its ports: set by midi_init(), stale after midi_exit().
extern MIDIClientRef client;
extern MIDIPortRef inPort;
extern MIDIPortRef gOutPort;
/// Cleared by midi_init(); nothing else uses it.
extern MIDIEndpointRef gDest;
/// The texts queried last. Null if there was no text, otherwise stale: the text has been released.
extern CFStringRef pname;
extern CFStringRef pmanuf;
extern CFStringRef pmodel;
/// The name of the endpoint examined last, in Mac Roman. An endpoint without a name leaves the
/// previous text here.
extern char jname[64];
/// The texts of the device examined last, in Mac Roman. A missing text leaves the previous one.
extern char name[64];
extern char manuf[64];
extern char model[64];
/// Cleared by midi_init(); nothing else uses it.
extern std::uint8_t offline_flag[64];
/// Bytes 61 to 63: status and the two controllers of the last mapping that passed the agreement
/// check. Nothing reads them.
extern std::uint8_t midiout_databuffer[64];

// --- the echo record: shared by the screen thread and the receive thread, relaxed atomics ---

/// 0: not confirmed, stored by the screen thread when a command starts. 185: an echo matched,
/// stored by the receive thread.
extern std::atomic<std::uint8_t> set_up_ok_flag;
/// The expected echo: status, data 1, data 2; the rest is unused. Written by the screen thread
/// right after the message went out, read by the receive thread.
extern std::atomic<std::uint8_t> midi_setup_data[8];
/// The bytes of the last packet; behind them, what longer packets left. Receive thread only.
extern std::atomic<std::uint8_t> midi_pack_setup_data[64];

// --- device codes and names ---

/// The value of a hexadecimal digit character, 0 to 15; 255 for any other byte.
std::uint8_t CharToHex(std::uint8_t c);

/// The byte that two hexadecimal digit characters stand for.
std::int8_t two_hex_compound(std::uint8_t hi, std::uint8_t lo);

/// Reads `VID_val`, `PID_val` and `VID_PID_val` back from `device_name`. A character that is no
/// digit counts as 255, unmasked: an empty name gives 0xFFFFFFFF.
void set_usb_id();

/// 1 when the first eight bytes of `name`, `model` and `device_name` all agree, else 0.
std::uint8_t midi_device_name_judge();

/// Prints a text when `debug_flag` is set.
void debug_printf(const char* text);

// --- source connection ---

/// Disconnects every source, then connects the last one whose name starts with `device_name` to
/// both ports and sets `realtime_connect_state_flag`. Returns its index, or 0xFFFFFFFF if there is
/// none. Prints the number of sources and the result.
std::uint64_t midi_source_connect();

// --- echo reader: receive thread ---

/// The packet behind this one: past its data, rounded up to a multiple of four.
const MIDIPacket* MIDIPacketNext(const MIDIPacket* packet);

/// The input port's read callback: keeps the bytes of the packets (64 at most), compares them with
/// the expected echo, sets `set_up_ok_flag` on a match. Prints the bytes and the comparison.
void MyReadProc(const MIDIPacketList* list, void* port_context, void* source_context);

// --- destination lookup and plain output ---

/// The index of the last destination whose name starts with `device_name`, or 0xFFFFFFFF. Prints
/// the number of destinations and a line about the position behind the last one.
std::uint64_t midi_get_destination();

/// Sends one short message without waiting for an answer, then pauses 20 ms. Any system status is
/// sent as one timing clock. Returns 1 if the destination is missing or offline, else the low byte
/// of the send's status.
std::uint8_t core_midi_send_msg(std::uint8_t status, std::uint8_t data1, std::uint8_t data2);

// --- key mapping command ---

/// Sends one message in the confirmed sequence, waits for the echo, and sends the sequence once
/// more if none came. Returns 1 if the destination is missing or offline, else the low byte of the
/// last send's status. The result does not tell whether the echo came.
std::uint8_t core_midi_send_msg_combo(std::uint8_t status, std::uint8_t data1, std::uint8_t data2);

/// Takes a short-message word apart (bits 0-3 channel nibble, 8-15 data 1, 16-23 data 2), puts the
/// type's nibble in front of the channel and sends it confirmed.
std::uint8_t midiOutShortMsg(std::uint8_t type, std::uint32_t word);

/// Looks for the machine among the MIDI devices and sends it a message, confirmed. `channel` counts
/// from 1. Type 0xFF only looks, and returns 0 if the machine is there. Returns 1 if there are
/// devices but not the machine, 0 if there are no devices, else the send's result.
std::uint8_t send_midi_out_data(std::uint8_t type, std::uint8_t channel, std::uint8_t data1,
                                std::uint8_t data2);

/// The same search, then clock, note on, note off, the message and a clock as five plain sends.
/// `channel` counts from 0 here. Returns the last send's result.
std::uint8_t send_midi_out_data_combo(std::uint8_t type, std::uint8_t channel, std::uint8_t data1,
                                      std::uint8_t data2);

/// The command behind usb_midi_main(), with the same bytes taken as signed: 0 sent, 1 refused or
/// failed.
std::uint8_t key_code_value_set(std::int8_t part, std::int8_t status, std::int8_t controller,
                                std::int8_t controller2);
