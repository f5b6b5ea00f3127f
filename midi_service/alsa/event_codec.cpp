// SPDX-License-Identifier: MIT
#include "midi_service/alsa/event_codec.h"

#include "midi_service/midi_message.h"

namespace {

constexpr unsigned bend_centre = 0x2000;

std::uint8_t low_seven(int value) {
    return static_cast<std::uint8_t>(value & 0x7F);
}

int fourteen(std::uint8_t low, std::uint8_t high) {
    return low | high << 7;
}

struct SystemType {
    std::uint8_t status;
    snd_seq_event_type type;
};

constexpr std::array system_types = {
    SystemType{0xF1, SND_SEQ_EVENT_QFRAME},   SystemType{0xF2, SND_SEQ_EVENT_SONGPOS},
    SystemType{0xF3, SND_SEQ_EVENT_SONGSEL},  SystemType{0xF6, SND_SEQ_EVENT_TUNE_REQUEST},
    SystemType{0xF8, SND_SEQ_EVENT_CLOCK},    SystemType{0xFA, SND_SEQ_EVENT_START},
    SystemType{0xFB, SND_SEQ_EVENT_CONTINUE}, SystemType{0xFC, SND_SEQ_EVENT_STOP},
    SystemType{0xFE, SND_SEQ_EVENT_SENSING},  SystemType{0xFF, SND_SEQ_EVENT_RESET},
};

void encode_system(std::span<const std::uint8_t> message, snd_seq_event_t& event) {
    for (const SystemType& known : system_types) {
        if (known.status == message[0])
            event.type = known.type;
    }
    if (message.size() == 2)
        event.data.control.value = message[1];
    if (message.size() == 3)
        event.data.control.value = fourteen(message[1], message[2]);
}

void encode_exclusive(std::span<const std::uint8_t> piece, snd_seq_event_t& event) {
    // The library's type is not const; nobody writes through it.
    snd_seq_ev_set_sysex(&event, static_cast<unsigned>(piece.size()),
                         const_cast<std::uint8_t*>(piece.data()));
}

void encode_note(snd_seq_event_type type, std::span<const std::uint8_t> message,
                 snd_seq_event_t& event) {
    event.type = type;
    event.data.note.channel = message[0] & 0x0F;
    event.data.note.note = message[1];
    event.data.note.velocity = message[2];
}

void encode_control(snd_seq_event_type type, std::span<const std::uint8_t> message, int value,
                    snd_seq_event_t& event) {
    event.type = type;
    event.data.control.channel = message[0] & 0x0F;
    event.data.control.value = value;
    if (type == SND_SEQ_EVENT_CONTROLLER)
        event.data.control.param = message[1];
}

/// Writes a message as long as its status says.
std::span<const std::uint8_t> write(std::array<std::uint8_t, 3>& buffer, int status, int data1,
                                    int data2) {
    buffer = {static_cast<std::uint8_t>(status), low_seven(data1), low_seven(data2)};
    return std::span{buffer}.first(message_length(buffer[0]));
}

std::span<const std::uint8_t> decode_system(const snd_seq_event_t& event,
                                            std::array<std::uint8_t, 3>& buffer) {
    for (const SystemType& known : system_types) {
        if (known.type == event.type)
            return write(buffer, known.status, event.data.control.value,
                         event.data.control.value >> 7);
    }
    return {};
}

} // namespace

void encode_event(std::span<const std::uint8_t> message, snd_seq_event_t& event) {
    snd_seq_ev_set_fixed(&event);
    switch (message[0] & 0xF0) {
    case 0x80:
        return encode_note(SND_SEQ_EVENT_NOTEOFF, message, event);
    case 0x90:
        return encode_note(SND_SEQ_EVENT_NOTEON, message, event);
    case 0xA0:
        return encode_note(SND_SEQ_EVENT_KEYPRESS, message, event);
    case 0xB0:
        return encode_control(SND_SEQ_EVENT_CONTROLLER, message, message[2], event);
    case 0xC0:
        return encode_control(SND_SEQ_EVENT_PGMCHANGE, message, message[1], event);
    case 0xD0:
        return encode_control(SND_SEQ_EVENT_CHANPRESS, message, message[1], event);
    case 0xE0:
        return encode_control(SND_SEQ_EVENT_PITCHBEND, message,
                              fourteen(message[1], message[2]) - static_cast<int>(bend_centre),
                              event);
    default:
        break;
    }
    if (message_length(message[0]) == 0)
        return encode_exclusive(message, event);
    encode_system(message, event);
}

std::span<const std::uint8_t> decode_event(const snd_seq_event_t& event,
                                           std::array<std::uint8_t, 3>& buffer) {
    const auto& note = event.data.note;
    const auto& control = event.data.control;
    switch (event.type) {
    case SND_SEQ_EVENT_NOTEOFF:
        return write(buffer, 0x80 | (note.channel & 0x0F), note.note, note.velocity);
    case SND_SEQ_EVENT_NOTEON:
        return write(buffer, 0x90 | (note.channel & 0x0F), note.note, note.velocity);
    case SND_SEQ_EVENT_KEYPRESS:
        return write(buffer, 0xA0 | (note.channel & 0x0F), note.note, note.velocity);
    case SND_SEQ_EVENT_CONTROLLER:
        return write(buffer, 0xB0 | (control.channel & 0x0F), static_cast<int>(control.param),
                     control.value);
    case SND_SEQ_EVENT_PGMCHANGE:
        return write(buffer, 0xC0 | (control.channel & 0x0F), control.value, 0);
    case SND_SEQ_EVENT_CHANPRESS:
        return write(buffer, 0xD0 | (control.channel & 0x0F), control.value, 0);
    case SND_SEQ_EVENT_PITCHBEND: {
        // In wrapping numbers: another program may have put any value there.
        const int bend = static_cast<int>(static_cast<unsigned>(control.value) + bend_centre);
        return write(buffer, 0xE0 | (control.channel & 0x0F), bend, bend >> 7);
    }
    case SND_SEQ_EVENT_SYSEX:
        if (!snd_seq_ev_is_variable(&event))
            return {};
        return {static_cast<const std::uint8_t*>(event.data.ext.ptr), event.data.ext.len};
    default:
        return decode_system(event, buffer);
    }
}
