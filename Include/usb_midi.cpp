// SPDX-License-Identifier: MIT
#include "Include/usb_midi.h"

#include "protocol/device_code.h"
#include "protocol/sequence.h"

#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <optional>
#include <span>
#include <unistd.h>

std::uint8_t debug_flag;
std::uint16_t VID_val;
std::uint16_t PID_val;
std::uint32_t VID_PID_val;
char device_name[24];

std::uint8_t realtime_connect_state_flag;
MIDIClientRef client;
MIDIPortRef inPort;
MIDIPortRef gOutPort;
MIDIEndpointRef gDest;
CFStringRef pname;
CFStringRef pmanuf;
CFStringRef pmodel;
char jname[64];
char name[64];
char manuf[64];
char model[64];
std::uint8_t offline_flag[64];
std::uint8_t midiout_databuffer[64];

std::atomic<std::uint8_t> set_up_ok_flag;
std::atomic<std::uint8_t> midi_setup_data[8];
std::atomic<std::uint8_t> midi_pack_setup_data[64];

namespace {

using protocol::code_digits;

constexpr std::uint64_t not_found = 0xFFFFFFFF; // 32 bits of ones, in a 64-bit index
constexpr std::uint32_t mac_roman = 0;
constexpr std::uint8_t confirmed = 185;
constexpr auto relaxed = std::memory_order_relaxed;
constexpr std::uint8_t presence_probe = 0xFF; // a type that only looks for the machine

/// A count or an index as "%x" prints it: its low 32 bits.
unsigned low_32_bits(std::uint64_t value) {
    return static_cast<unsigned>(value);
}

// --- device codes and names ---

/// A model whose name is `head`, the middle value as one digit, and `tail`.
struct NamingRule {
    std::uint16_t low_half;
    std::uint16_t family;     // of the high half, its last digit 0
    const char* format;       // of the name
    bool middle_for_low_half; // the middle value is printed for the low half alone
};

constexpr NamingRule naming_rules[] = {
    {0xCC04, 0x4AC0, "4AC%XCC04", true},  {0xCC15, 0x4AC0, "4AC%XCC15", true},
    {0xCC27, 0x4AC0, "4AC%XCC27", true},  {0xFF10, 0x4AC0, "4AC%XFF10", true},
    {0xC008, 0x16C0, "16C%XC008", false}, {0xFF04, 0x4D40, "4D4%XFF04", false},
    {0xFF04, 0x6080, "608%XFF04", false}, {0xF4C4, 0x4AC0, "4AC%XF4C4", false},
};

constexpr std::uint32_t fixed_code = 0x44CACC10;

std::uint16_t half_of(const char* digits) {
    // Digits are not validated: the 255 of a non-digit is OR-ed in unmasked.
    std::uint32_t half = 0;
    for (std::size_t i = 0; i < 4; ++i)
        half |= static_cast<std::uint32_t>(CharToHex(static_cast<std::uint8_t>(digits[i])))
                << (12 - 4 * i);
    return static_cast<std::uint16_t>(half);
}

std::uint64_t connect_under_new_name() {
    device_name[code_digits] = '\0';
    set_usb_id();
    return midi_source_connect();
}

} // namespace

std::uint8_t CharToHex(std::uint8_t c) {
    const char digit = static_cast<char>(c);
    std::uint8_t value = 255; // stays when it is no digit
    std::from_chars(&digit, &digit + 1, value, 16);
    return value;
}

std::int8_t two_hex_compound(std::uint8_t hi, std::uint8_t lo) {
    return static_cast<std::int8_t>((CharToHex(hi) << 4) | CharToHex(lo));
}

std::uint64_t set_device_name(std::uint32_t code) {
    printf("set_device_name %x \r\n", code);
    std::memset(device_name, 0, sizeof device_name);
    const std::uint32_t high = code >> 16;
    const std::uint32_t middle = high & 0xF;
    for (const NamingRule& rule : naming_rules) {
        const bool low_matches = (code & 0xFFFF) == rule.low_half;
        const bool high_matches = (high & 0xFFF0) == rule.family;
        if (low_matches && (high_matches || rule.middle_for_low_half))
            printf("middle_value %x \r\n", middle);
        if (low_matches && high_matches)
            std::snprintf(device_name, sizeof device_name, rule.format, middle);
    }
    printf("Generated device_name: %s\n", device_name);
    // After the line above, which shows an empty name for this code.
    if (code == fixed_code)
        std::memcpy(device_name, "44CACC10", code_digits);
    return connect_under_new_name();
}

void set_usb_id() {
    VID_val = half_of(device_name);
    PID_val = half_of(device_name + 4);
    VID_PID_val = (static_cast<std::uint32_t>(VID_val) << 16) | PID_val;
}

std::uint64_t set_device_name_with_hexcode(std::uint32_t code) {
    printf("set_device_name %x \r\n", code);
    std::memset(device_name, 0, sizeof device_name);
    char digits[code_digits + 1] = {};
    std::snprintf(digits, sizeof digits, "%X", code);
    std::memcpy(device_name, digits, code_digits);
    return connect_under_new_name();
}

std::uint8_t midi_device_name_judge() {
    return std::memcmp(name, model, code_digits) == 0 &&
           std::memcmp(name, device_name, code_digits) == 0;
}

void debug_printf(const char* text) {
    if (debug_flag != 0)
        printf("\r\nDEBUG: %s\r\n", text);
}

// --- the MIDI link ---

namespace {

/// Asks for a text. The handle is cleared first: a query may fail without touching it, and it still
/// holds the last text, which is released.
void query(MIDIObjectRef object, CFStringRef property, CFStringRef& handle) {
    handle = nullptr;
    MIDIObjectGetStringProperty(object, property, &handle);
}

/// Converts a text and releases it. Without a text the buffer keeps its contents.
void convert(CFStringRef handle, char (&buffer)[64]) {
    if (!handle)
        return;
    CFStringGetCString(handle, buffer, sizeof buffer, mac_roman);
    CFRelease(handle);
}

void read_endpoint_name(MIDIEndpointRef endpoint) {
    query(endpoint, kMIDIPropertyName, pname);
    convert(pname, jname);
}

/// Whether the endpoint's name starts with the device name. Cuts `jname` to the eight bytes that
/// are compared; those after an earlier terminator count too.
bool carries_device_name(MIDIEndpointRef endpoint) {
    read_endpoint_name(endpoint);
    jname[code_digits] = '\0';
    return std::memcmp(jname, device_name, code_digits) == 0;
}

/// An endpoint that does not say counts as online.
bool is_offline(MIDIEndpointRef endpoint) {
    std::int32_t offline = 0;
    MIDIObjectGetIntegerProperty(endpoint, kMIDIPropertyOffline, &offline);
    return offline == 1;
}

} // namespace

std::int32_t midi_init() {
    const auto clear = [](auto&... variables) {
        (std::memset(&variables, 0, sizeof variables), ...);
    };
    clear(client, inPort, gOutPort, gDest);
    clear(name, manuf, model, offline_flag, jname, midiout_databuffer);
    // Statuses ignored: without MIDI every later call finds nothing, which says the same.
    MIDIClientCreate(CFSTR("MIDI Client"), nullptr, nullptr, &client);
    MIDIOutputPortCreate(client, CFSTR("Output port"), &gOutPort);
    return MIDIInputPortCreate(client, CFSTR("Input port"), MyReadProc, nullptr, &inPort);
}

std::uint64_t midi_source_connect() {
    const ItemCount sources = MIDIGetNumberOfSources();
    printf("MIDIGetNumberOfSources %x \r\n", low_32_bits(sources));
    std::uint64_t found = not_found;
    for (ItemCount i = 0; i < sources; ++i) {
        const MIDIEndpointRef source = MIDIGetSource(i);
        MIDIPortDisconnectSource(gOutPort, source);
        MIDIPortDisconnectSource(inPort, source);
        if (carries_device_name(source))
            found = i;
    }
    if (found == not_found) {
        printf("midi init failed \r\n");
        realtime_connect_state_flag = 0;
        return not_found;
    }
    printf("midi init success ,number code %x \r\n", low_32_bits(found));
    const MIDIEndpointRef source = MIDIGetSource(found);
    read_endpoint_name(source);
    MIDIPortConnectSource(gOutPort, source, nullptr);
    MIDIPortConnectSource(inPort, source, nullptr);
    if (is_offline(source)) {
        printf("%s is offline\r\n", jname);
        realtime_connect_state_flag = 0;
    } else {
        printf("%s is online\r\n", jname);
        realtime_connect_state_flag = 1;
    }
    return found;
}

std::int32_t midi_exit() {
    printf("midi_exit\r\n");
    // Deliberately in this order: the ports are gone with their client, and these two calls fail.
    MIDIClientDispose(client);
    MIDIPortDispose(gOutPort);
    return MIDIPortDispose(inPort);
}

std::uint8_t judge_device_connect_state_with_id(std::uint32_t code) {
    set_device_name_with_hexcode(code);
    return realtime_connect_state_flag;
}

// --- echo reader: receive thread ---

const MIDIPacket* MIDIPacketNext(const MIDIPacket* packet) {
    const auto data = reinterpret_cast<std::uintptr_t>(packet) + offsetof(MIDIPacket, data);
    return reinterpret_cast<const MIDIPacket*>((data + packet->length + 3) &
                                               ~static_cast<std::uintptr_t>(3));
}

void MyReadProc(const MIDIPacketList* list, void*, void*) {
    const MIDIPacket* packet = list->packet;
    for (std::uint32_t i = 0; i < list->numPackets; ++i) {
        // Not packet->data[j]: a packet may be longer than its declared array.
        const auto* data =
            reinterpret_cast<const std::uint8_t*>(packet) + offsetof(MIDIPacket, data);
        for (std::size_t j = 0; j < packet->length; ++j) {
            printf("%x\t", static_cast<unsigned>(data[j]));
            if (j < std::size(midi_pack_setup_data))
                midi_pack_setup_data[j].store(data[j], relaxed);
        }
        packet = MIDIPacketNext(packet);
        printf("\r\n");
    }
    const std::uint8_t expected[] = {midi_setup_data[0].load(relaxed),
                                     midi_setup_data[1].load(relaxed)};
    const std::uint8_t received[] = {midi_pack_setup_data[0].load(relaxed),
                                     midi_pack_setup_data[1].load(relaxed)};
    const bool matches =
        protocol::confirms_loosely(expected[0], expected[1], received[0], received[1]);
    if (matches)
        printf("\r\n设定回显正常\r\n");
    printf("midi_setup_data 0 %x , p %x\r\n", expected[0], received[0]);
    printf("midi_setup_data 1 %x , p %x\r\n", expected[1], received[1]);
    if (matches)
        set_up_ok_flag.store(confirmed, relaxed);
}

// --- destination lookup and output ---

namespace {

constexpr ByteCount list_size = 1024;

/// A packet list with the position of its next event. Clearing the list leaves the position where
/// it is; an append to an empty list goes to the front all the same.
class OutgoingList {
public:
    explicit OutgoingList(MIDITimeStamp time) : time_(time) {}

    void append(std::span<const std::uint8_t> event) {
        position_ =
            MIDIPacketListAdd(list(), list_size, position_, time_, event.size(), event.data());
    }

    std::int32_t send(MIDIEndpointRef destination) {
        return MIDISend(gOutPort, destination, list());
    }

    void clear() { std::memset(buffer_, 0, sizeof buffer_); }

private:
    MIDIPacketList* list() { return reinterpret_cast<MIDIPacketList*>(buffer_); }

    alignas(MIDIPacketList) std::uint8_t buffer_[list_size] = {};
    MIDIPacket* position_ = MIDIPacketListInit(list());
    MIDITimeStamp time_; // of every event, in the past: each goes out at once
};

/// The destination to send to, or nothing when it is missing or offline. Looks it up three times,
/// and each lookup prints: for the endpoint, to see whether there is one, and for the line.
std::optional<MIDIEndpointRef> find_reachable_destination() {
    const MIDIEndpointRef destination = MIDIGetDestination(midi_get_destination());
    if (midi_get_destination() == not_found)
        return std::nullopt;
    printf("midi_get_destination %x \r\n", low_32_bits(midi_get_destination()));
    if (is_offline(destination)) {
        printf("offline \r\n");
        return std::nullopt;
    }
    return destination;
}

std::uint8_t low_byte(std::int32_t status) {
    return static_cast<std::uint8_t>(status & 0xFF);
}

} // namespace

std::uint64_t midi_get_destination() {
    const ItemCount destinations = MIDIGetNumberOfDestinations();
    printf("MIDIGetNumberOfDestinations %x \r\n", low_32_bits(destinations));
    if (destinations == 0)
        return not_found;
    std::uint64_t found = not_found;
    for (ItemCount i = 0; i < destinations; ++i) {
        if (carries_device_name(MIDIGetDestination(i)))
            found = i;
    }
    // Reports on the index one past the end, never on the match. Deliberate.
    const MIDIEndpointRef behind = MIDIGetDestination(destinations);
    read_endpoint_name(behind);
    if (is_offline(behind))
        printf("AAAAA: %s is offline\r\n", jname);
    else
        printf("CCCCC: %s is online\r\n", jname);
    return found;
}

std::uint8_t core_midi_send_msg(std::uint8_t status, std::uint8_t data1, std::uint8_t data2) {
    OutgoingList list{0};
    const auto destination = find_reachable_destination();
    if (!destination)
        return 1;
    if ((status & 0xF0) == 0xF0) {
        printf("clock mc\r\n");
        list.append({&protocol::timing_clock, 1});
    } else {
        printf("MSG: %x %x %x \r\n", status, data1, data2);
        list.append(protocol::Message{status, data1, data2});
    }
    const std::int32_t sent = list.send(*destination);
    usleep(20000);
    return low_byte(sent);
}

// --- key mapping command ---

namespace {

/// Sends a message in the sequence that makes a machine take it as a setting. Gives the status of
/// the last send alone.
std::int32_t send_sequence(OutgoingList& list, MIDIEndpointRef destination,
                           const protocol::Message& message) {
    const auto clear_and_pause = [&list](unsigned microseconds) {
        list.clear();
        usleep(microseconds);
    };
    std::int32_t sent = 0;
    for (const protocol::SequenceEvent& event : protocol::confirmed_sequence(message)) {
        if (event.pause_before != 0)
            clear_and_pause(event.pause_before);
        list.append(event.bytes());
        sent = list.send(destination);
        for (std::size_t i = 0; event.is_echoed && i < message.size(); ++i)
            midi_setup_data[i].store(message[i], relaxed);
    }
    clear_and_pause(protocol::pause_behind);
    return sent;
}

/// Looks for the machine among the devices. Gives the caller's result, or nothing when the machine
/// was found and the message is to be sent.
std::optional<std::uint8_t> scan_devices(std::uint8_t type) {
    const auto devices = static_cast<std::int32_t>(MIDIGetNumberOfDevices());
    printf(" MIDIGetNumberOfDevices  %x\r\n", static_cast<unsigned>(devices));
    std::uint8_t result = 0;
    for (std::int32_t i = 0; i < devices; ++i) {
        const MIDIDeviceRef device = MIDIGetDevice(static_cast<ItemCount>(i));
        query(device, kMIDIPropertyName, pname);
        query(device, kMIDIPropertyManufacturer, pmanuf);
        query(device, kMIDIPropertyModel, pmodel);
        convert(pname, name);
        convert(pmanuf, manuf);
        convert(pmodel, model);
        if (midi_device_name_judge() == 1) {
            if (type == presence_probe) {
                printf("no macthing name B \r\n");
                return std::uint8_t{0};
            }
            printf("midiOutShortMsg\r\n");
            return std::nullopt;
        }
        result = 1;
    }
    return result;
}

/// Channel is counted from 1; 0 wraps to nibble 15.
std::uint32_t short_message_word(std::uint8_t type, std::uint8_t channel, std::uint8_t data1,
                                 std::uint8_t data2) {
    const unsigned status = (type & 0xF0U) | ((channel - 1U) & 0x0FU);
    return data1 * 0x100U + data2 * 0x10000U + status;
}

} // namespace

std::uint8_t core_midi_send_msg_combo(std::uint8_t status, std::uint8_t data1, std::uint8_t data2) {
    // First, so that an earlier command's confirmation never counts for this one.
    set_up_ok_flag.store(0, relaxed);
    const protocol::Message message = {status, data1, data2};
    OutgoingList list{1000};
    const auto destination = find_reachable_destination();
    if (!destination)
        return 1;
    printf("clock mc\r\n");
    std::int32_t sent = send_sequence(list, *destination, message);
    usleep(protocol::echo_wait);
    if (set_up_ok_flag.load(relaxed) != 0) {
        printf("设置成功了 \r\n");
    } else {
        printf("设置失败obk\r\n");
        sent = send_sequence(list, *destination, message);
    }
    return low_byte(sent);
}

std::uint8_t midiOutShortMsg(std::uint8_t type, std::uint32_t word) {
    const auto status = static_cast<std::uint8_t>((type & 0xF0U) | (word & 0x0FU));
    const auto data1 = static_cast<std::uint8_t>((word >> 8) & 0xFFU);
    const auto data2 = static_cast<std::uint8_t>((word >> 16) & 0xFFU);
    return core_midi_send_msg_combo(status, data1, data2);
}

std::uint8_t send_midi_out_data(std::uint8_t type, std::uint8_t channel, std::uint8_t data1,
                                std::uint8_t data2) {
    printf("send_midi_out_data\r\n");
    if (const auto result = scan_devices(type))
        return *result;
    return midiOutShortMsg(type, short_message_word(type, channel, data1, data2));
}

std::uint8_t send_midi_out_data_combo(std::uint8_t type, std::uint8_t channel, std::uint8_t data1,
                                      std::uint8_t data2) {
    printf("send_midi_out_data\r\n");
    if (const auto result = scan_devices(type))
        return *result;
    // Unlike in send_midi_out_data(), the channel counts from 0 here.
    core_midi_send_msg(protocol::timing_clock, 0, 0);
    core_midi_send_msg(status_of(protocol::MessageType::note_on, channel), data1, data2);
    core_midi_send_msg(status_of(protocol::MessageType::note_off, channel), data1, data2);
    core_midi_send_msg(static_cast<std::uint8_t>((type & 0xF0) | (channel & 0x0F)), data1, data2);
    return core_midi_send_msg(protocol::timing_clock, 0, 0);
}

std::uint8_t key_code_value_set(std::int8_t part, std::int8_t status, std::int8_t controller,
                                std::int8_t controller2) {
    printf("key_code_value_set\r\n");
    send_midi_out_data(presence_probe, 0x0F, 0, 0);
    if ((controller & 0x7F) != (controller2 & 0x7F))
        return 1;
    midiout_databuffer[61] = static_cast<std::uint8_t>(status);
    midiout_databuffer[62] = static_cast<std::uint8_t>(controller);
    midiout_databuffer[63] = static_cast<std::uint8_t>(controller2);
    // send_midi_out_data() counts channels from 1.
    const std::uint8_t sent = send_midi_out_data(
        static_cast<std::uint8_t>(status & 0xF0), static_cast<std::uint8_t>((status & 0x0F) + 1),
        static_cast<std::uint8_t>(controller2 & 0x7F), static_cast<std::uint8_t>(part & 0x7F));
    return sent != 0 ? 1 : 0;
}

std::int32_t usb_midi_main(std::uint8_t part, std::uint8_t status, std::uint8_t controller,
                           std::uint8_t controller2) {
    // key_code_value_set() looks for the machine again. Deliberate.
    send_midi_out_data(presence_probe, 0x0F, 0, 0);
    return key_code_value_set(static_cast<std::int8_t>(part), static_cast<std::int8_t>(status),
                              static_cast<std::int8_t>(controller),
                              static_cast<std::int8_t>(controller2));
}
