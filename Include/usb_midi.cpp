// SPDX-License-Identifier: MIT
#include "Include/usb_midi.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <iterator>
#include <optional>
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

constexpr std::uint64_t not_found = 0xFFFFFFFF; // 32 bits of ones in every 64-bit index
constexpr std::size_t compared = 8;             // bytes of a name that have to agree
constexpr std::uint32_t mac_roman = 0;
constexpr std::uint8_t timing_clock = 0xF8;
constexpr std::uint8_t note_on = 0x90;
constexpr std::uint8_t note_off = 0x80;
constexpr std::uint8_t confirmed = 185;
constexpr std::uint8_t presence_probe = 0xFF; // a type that only looks for the machine

/// For "%x", which takes the low 32 bits of a count or an index.
unsigned hex(std::uint64_t value) {
    return static_cast<unsigned>(value);
}

} // namespace

// --- device codes and names ---

namespace {

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
    // No digit is checked: 255 for a character that is none goes in as it is.
    std::uint32_t half = 0;
    for (std::size_t i = 0; i < 4; ++i)
        half |= static_cast<std::uint32_t>(CharToHex(static_cast<std::uint8_t>(digits[i])))
                << (12 - 4 * i);
    return static_cast<std::uint16_t>(half);
}

std::uint64_t connect_under_new_name() {
    device_name[compared] = '\0';
    set_usb_id();
    return midi_source_connect();
}

} // namespace

std::uint8_t CharToHex(std::uint8_t c) {
    if (c >= '0' && c <= '9')
        return static_cast<std::uint8_t>(c - '0');
    if (c >= 'A' && c <= 'F')
        return static_cast<std::uint8_t>(c - 'A' + 10);
    if (c >= 'a' && c <= 'f')
        return static_cast<std::uint8_t>(c - 'a' + 10);
    return 255;
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
    // Only now, so that the line above shows no name for this code.
    if (code == fixed_code)
        std::memcpy(device_name, "44CACC10", compared);
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
    char digits[compared + 1] = {};
    std::snprintf(digits, sizeof digits, "%X", code);
    std::memcpy(device_name, digits, compared);
    return connect_under_new_name();
}

std::uint8_t midi_device_name_judge() {
    return std::memcmp(name, model, compared) == 0 && std::memcmp(name, device_name, compared) == 0;
}

void debug_printf(const char* text) {
    if (debug_flag != 0)
        printf("\r\nDEBUG: %s\r\n", text);
}

// --- the MIDI link ---

namespace {

/// Asks for a text. A query that fails without an answer must not leave the handle of a text that
/// was released long ago.
void query(MIDIObjectRef object, CFStringRef property, CFStringRef& handle) {
    handle = nullptr;
    MIDIObjectGetStringProperty(object, property, &handle);
}

/// Converts a text that there is, and releases it; without one the buffer keeps what it held.
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

/// Whether the endpoint's name starts with the device name. Cuts `jname` to what was compared; what
/// stands behind an earlier terminator is compared like any other byte.
bool carries_device_name(MIDIEndpointRef endpoint) {
    read_endpoint_name(endpoint);
    jname[compared] = '\0';
    return std::memcmp(jname, device_name, compared) == 0;
}

/// An endpoint that does not say counts as online.
bool is_offline(MIDIEndpointRef endpoint) {
    std::int32_t offline = 0;
    MIDIObjectGetIntegerProperty(endpoint, kMIDIPropertyOffline, &offline);
    return offline == 1;
}

} // namespace

std::int32_t midi_init() {
    client = 0;
    inPort = 0;
    gOutPort = 0;
    gDest = 0;
    std::memset(name, 0, sizeof name);
    std::memset(manuf, 0, sizeof manuf);
    std::memset(model, 0, sizeof model);
    std::memset(offline_flag, 0, sizeof offline_flag);
    std::memset(jname, 0, sizeof jname);
    std::memset(midiout_databuffer, 0, sizeof midiout_databuffer);
    // Where there is no MIDI, every later call finds nothing; so these statuses tell no more.
    MIDIClientCreate(CFSTR("MIDI Client"), nullptr, nullptr, &client);
    MIDIOutputPortCreate(client, CFSTR("Output port"), &gOutPort);
    return MIDIInputPortCreate(client, CFSTR("Input port"), MyReadProc, nullptr, &inPort);
}

std::uint64_t midi_source_connect() {
    const ItemCount sources = MIDIGetNumberOfSources();
    printf("MIDIGetNumberOfSources %x \r\n", hex(sources));
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
    printf("midi init success ,number code %x \r\n", hex(found));
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
    // The ports go with their client; disposing of them afterwards finds nothing, on purpose.
    MIDIClientDispose(client);
    MIDIPortDispose(gOutPort);
    return MIDIPortDispose(inPort);
}

std::uint8_t judge_device_connect_state_with_id(std::uint32_t code) {
    set_device_name_with_hexcode(code);
    return realtime_connect_state_flag;
}

// --- echo reader: receive thread ---

namespace {

constexpr auto relaxed = std::memory_order_relaxed;

bool is_expected_echo() {
    const std::uint8_t status = midi_setup_data[0].load(relaxed);
    if (status != midi_pack_setup_data[0].load(relaxed))
        return false;
    // A machine answers a pitch bend with its own position, so only the status is compared.
    return (status & 0xF0) == 0xE0 ||
           midi_setup_data[1].load(relaxed) == midi_pack_setup_data[1].load(relaxed);
}

} // namespace

const MIDIPacket* MIDIPacketNext(const MIDIPacket* packet) {
    const auto data = reinterpret_cast<std::uintptr_t>(packet) + offsetof(MIDIPacket, data);
    return reinterpret_cast<const MIDIPacket*>((data + packet->length + 3) &
                                               ~static_cast<std::uintptr_t>(3));
}

void MyReadProc(const MIDIPacketList* list, void*, void*) {
    const MIDIPacket* packet = list->packet;
    for (std::uint32_t i = 0; i < list->numPackets; ++i) {
        // Not packet->data[j]: a packet may be longer than the array that declares it.
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
    const bool matches = is_expected_echo();
    if (matches)
        printf("\r\n设定回显正常\r\n");
    printf("midi_setup_data 0 %x , p %x\r\n", hex(midi_setup_data[0].load(relaxed)),
           hex(midi_pack_setup_data[0].load(relaxed)));
    printf("midi_setup_data 1 %x , p %x\r\n", hex(midi_setup_data[1].load(relaxed)),
           hex(midi_pack_setup_data[1].load(relaxed)));
    if (matches)
        set_up_ok_flag.store(confirmed, relaxed);
}

// --- destination lookup and output ---

namespace {

constexpr ByteCount list_size = 1024;

/// A packet list and the place where the next event goes. Clearing the list keeps the place; an
/// append to an empty list goes first anyway.
class Output {
public:
    explicit Output(MIDITimeStamp time) : time_(time) {}

    void append(std::initializer_list<std::uint8_t> event) {
        position_ =
            MIDIPacketListAdd(list(), list_size, position_, time_, event.size(), event.begin());
    }

    std::int32_t send(MIDIEndpointRef destination) {
        return MIDISend(gOutPort, destination, list());
    }

    void clear() { std::memset(buffer_, 0, sizeof buffer_); }

private:
    MIDIPacketList* list() { return reinterpret_cast<MIDIPacketList*>(buffer_); }

    alignas(MIDIPacketList) std::uint8_t buffer_[list_size] = {};
    MIDIPacket* position_ = MIDIPacketListInit(list());
    MIDITimeStamp time_; // of every event; all of them are past, so each goes out at once
};

/// The destination to send to, or nothing when it is missing or offline. Looks it up three times,
/// each with its own lines: one lookup for the endpoint, one for whether there is any, one to
/// print.
std::optional<MIDIEndpointRef> find_reachable_destination() {
    const MIDIEndpointRef destination = MIDIGetDestination(midi_get_destination());
    if (midi_get_destination() == not_found)
        return std::nullopt;
    printf("midi_get_destination %x \r\n", hex(midi_get_destination()));
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
    printf("MIDIGetNumberOfDestinations %x \r\n", hex(destinations));
    if (destinations == 0)
        return not_found;
    std::uint64_t found = not_found;
    for (ItemCount i = 0; i < destinations; ++i) {
        if (carries_device_name(MIDIGetDestination(i)))
            found = i;
    }
    // The line is about the position behind the last one, where there is none, whatever was found.
    const MIDIEndpointRef behind = MIDIGetDestination(destinations);
    read_endpoint_name(behind);
    if (is_offline(behind))
        printf("AAAAA: %s is offline\r\n", jname);
    else
        printf("CCCCC: %s is online\r\n", jname);
    return found;
}

std::uint8_t core_midi_send_msg(std::uint8_t status, std::uint8_t data1, std::uint8_t data2) {
    Output output{0};
    const auto destination = find_reachable_destination();
    if (!destination)
        return 1;
    if ((status & 0xF0) == 0xF0) {
        printf("clock mc\r\n");
        output.append({timing_clock});
    } else {
        printf("MSG: %x %x %x \r\n", status, data1, data2);
        output.append({status, data1, data2});
    }
    const std::int32_t sent = output.send(*destination);
    usleep(20000);
    return low_byte(sent);
}

// --- key mapping command ---

namespace {

/// The burst, the note pair, the message and the closing clock that make a machine take the message
/// as a setting. Gives the status of the last send alone.
std::int32_t send_sequence(Output& output, MIDIEndpointRef destination, std::uint8_t status,
                           std::uint8_t data1, std::uint8_t data2) {
    const auto channel = static_cast<std::uint8_t>(status & 0x0F);
    const auto clear_and_pause = [&output](unsigned microseconds) {
        output.clear();
        usleep(microseconds);
    };
    clear_and_pause(2000);
    for (int i = 0; i < 6; ++i) {
        output.append({timing_clock});
        output.send(destination);
    }
    clear_and_pause(1000);
    output.append({static_cast<std::uint8_t>(note_on | channel), data1, data2});
    output.send(destination);
    clear_and_pause(2000);
    output.append({static_cast<std::uint8_t>(note_off | channel), data1, data2});
    output.send(destination);
    clear_and_pause(2000);
    output.append({status, data1, data2});
    output.send(destination);
    midi_setup_data[0].store(status, relaxed);
    midi_setup_data[1].store(data1, relaxed);
    midi_setup_data[2].store(data2, relaxed);
    clear_and_pause(2000);
    output.append({timing_clock});
    const std::int32_t sent = output.send(destination);
    clear_and_pause(2000);
    return sent;
}

/// Looks for the machine among the devices. The result is the caller's own, or nothing: the machine
/// is there and has to be sent the message.
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
    // First of all, so that a confirmation of an earlier command never counts for this one.
    set_up_ok_flag.store(0, relaxed);
    Output output{1000};
    const auto destination = find_reachable_destination();
    if (!destination)
        return 1;
    printf("clock mc\r\n");
    std::int32_t sent = send_sequence(output, *destination, status, data1, data2);
    usleep(300000);
    if (set_up_ok_flag.load(relaxed) != 0) {
        printf("设置成功了 \r\n");
    } else {
        printf("设置失败obk\r\n");
        sent = send_sequence(output, *destination, status, data1, data2);
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
    // The channel is a nibble already here, unlike in send_midi_out_data().
    const auto nibble = static_cast<std::uint8_t>(channel & 0x0F);
    core_midi_send_msg(timing_clock, 0, 0);
    core_midi_send_msg(note_on | nibble, data1, data2);
    core_midi_send_msg(note_off | nibble, data1, data2);
    core_midi_send_msg(static_cast<std::uint8_t>((type & 0xF0) | nibble), data1, data2);
    return core_midi_send_msg(timing_clock, 0, 0);
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
    // The channel nibble becomes a channel counted from 1 here and a nibble again in the word.
    const std::uint8_t sent = send_midi_out_data(
        static_cast<std::uint8_t>(status & 0xF0), static_cast<std::uint8_t>((status & 0x0F) + 1),
        static_cast<std::uint8_t>(controller2 & 0x7F), static_cast<std::uint8_t>(part & 0x7F));
    return sent != 0 ? 1 : 0;
}

std::int32_t usb_midi_main(std::uint8_t part, std::uint8_t status, std::uint8_t controller,
                           std::uint8_t controller2) {
    // key_code_value_set() looks for the machine too: every command asks twice.
    send_midi_out_data(presence_probe, 0x0F, 0, 0);
    return key_code_value_set(static_cast<std::int8_t>(part), static_cast<std::int8_t>(status),
                              static_cast<std::int8_t>(controller),
                              static_cast<std::int8_t>(controller2));
}
