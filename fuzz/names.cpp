// SPDX-License-Identifier: MIT
// Names of any bytes: converted, and compared by the scans for sources, destinations and devices.
// What each scan finds and leaves in its buffers is computed a second time.
#include "Include/usb_midi.h"
#include "fuzz/target.h"
#include "midi_service/embedded/embedded_backend.h"
#include "midi_service/midi_text.h"
#include "tests/support/device_state.h"

#include <array>
#include <cstring>
#include <iconv.h>
#include <map>
#include <memory>
#include <string>

namespace {

using Buffer = std::array<char, 64>;

/// The UTF-8 character of each Mac Roman byte, the other way round than the service converts.
std::map<std::string, char> mac_roman_characters() {
    std::map<std::string, char> characters;
    auto* const descriptor = iconv_open("UTF-8", "MACINTOSH");
    for (int byte = 1; byte < 256; ++byte) {
        char from = static_cast<char>(byte);
        std::array<char, 8> to{};
        char* in = &from;
        char* out = to.data();
        std::size_t in_left = 1;
        std::size_t out_left = to.size();
        require(iconv(descriptor, &in, &in_left, &out, &out_left) == 0, "the table is complete");
        characters.emplace(std::string(to.data(), to.size() - out_left), from);
    }
    iconv_close(descriptor);
    return characters;
}

/// A converted name before it is cut to the buffer, and whether all of it could be converted.
struct Converted {
    std::string text{};
    bool whole = true;

    explicit Converted(std::string utf8) {
        static const auto characters = mac_roman_characters();
        utf8 = utf8.substr(0, utf8.find('\0'));
        for (std::size_t at = 0; at < utf8.size();) {
            const auto lead = static_cast<unsigned char>(utf8[at]);
            std::size_t more = lead < 0xC0 ? 0 : lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
            std::string character(1, utf8[at++]);
            while (more-- != 0 && at < utf8.size() && (utf8[at] & '\xC0') == '\x80')
                character += utf8[at++];
            const auto found = characters.find(character);
            text += found == characters.end() ? '?' : found->second;
            whole = whole && found != characters.end();
        }
    }
};

void check_conversion(const std::string& utf8, std::size_t size) {
    const Converted wanted{utf8};
    const TextHandle text{make_text(utf8)};
    const auto buffer = std::make_unique<char[]>(size);
    std::memset(buffer.get(), '~', size);
    const std::uint8_t result =
        CFStringGetCString(text.get(), buffer.get(), static_cast<std::int64_t>(size), 0);
    if (size == 0) {
        require(result == 0, "nothing fits into no buffer");
        return;
    }
    const std::string cut = wanted.text.substr(0, size - 1);
    require(std::memcmp(buffer.get(), cut.c_str(), cut.size() + 1) == 0, "each character's byte");
    for (std::size_t i = cut.size() + 1; i < size; ++i)
        require(buffer[i] == '~', "nothing is written behind the terminator");
    const bool complete = wanted.whole && cut.size() == wanted.text.size();
    require(result == (complete ? 1 : 0), "the result tells whether all of it is there");
}

/// The objects of the lists, and what the scans should make of them.
class Model {
public:
    std::vector<EmbeddedObject> objects{};
    Buffer jname{};
    std::array<Buffer, 3> texts{}; ///< name, manufacturer, model

    std::uint64_t source() {
        const auto found = last_of_the_name(&EmbeddedObject::is_source);
        if (found.index == 0xFFFFFFFF) {
            online = false;
            return found.index;
        }
        convert(found.object->name, jname);
        online = found.object->offline.value_or(0) != 1;
        return found.index;
    }

    std::uint64_t destination() { return last_of_the_name(&EmbeddedObject::is_destination).index; }

    std::uint8_t device() {
        std::uint8_t result = 0;
        for (const EmbeddedObject& object : objects) {
            if (!object.is_device)
                continue;
            convert(object.name, texts[0]);
            convert(object.manufacturer, texts[1]);
            convert(object.model, texts[2]);
            if (starts_with_name(texts[0]) && starts_with_name(texts[2]))
                return 0;
            result = 1;
        }
        return result;
    }

    bool online = false;

private:
    struct Found {
        std::uint64_t index;
        const EmbeddedObject* object;
    };

    Found last_of_the_name(bool EmbeddedObject::*is_listed) {
        Found found{0xFFFFFFFF, nullptr};
        std::uint64_t index = 0;
        for (const EmbeddedObject& object : objects) {
            if (!(object.*is_listed))
                continue;
            convert(object.name, jname);
            jname[8] = '\0';
            if (starts_with_name(jname))
                found = {index, &object};
            ++index;
        }
        return found;
    }

    static void convert(const std::optional<std::string>& name, Buffer& buffer) {
        if (name) {
            const std::string text = Converted{*name}.text.substr(0, buffer.size() - 1);
            std::copy_n(text.c_str(), text.size() + 1, buffer.begin());
        }
    }

    static bool starts_with_name(const Buffer& buffer) {
        return std::equal(buffer.begin(), buffer.begin() + 8, &device_name[0]);
    }
};

std::optional<std::string> text_if(bool wanted, Input& input) {
    if (!wanted)
        return std::nullopt;
    const Bytes bytes = input.run();
    return std::string(bytes.begin(), bytes.end());
}

/// A byte of switches, and the texts that it announces.
EmbeddedObject read_object(Input& input) {
    const std::uint8_t kind = input.byte();
    EmbeddedObject object;
    object.is_source = (kind & 0x01) != 0;
    object.is_destination = (kind & 0x02) != 0;
    object.is_device = (kind & 0x04) != 0;
    object.name = text_if((kind & 0x08) != 0, input);
    object.model = (kind & 0x10) != 0 ? object.name : text_if((kind & 0x20) != 0, input);
    object.manufacturer = text_if((kind & 0x20) != 0, input);
    if ((kind & 0x40) != 0)
        object.offline = (kind & 0x80) != 0 ? std::optional<std::int32_t>{} : input.byte();
    return object;
}

bool equals(const char (&buffer)[64], const Buffer& wanted) {
    return std::equal(wanted.begin(), wanted.end(), &buffer[0]);
}

/// The embedded service with one run's objects.
class World {
public:
    World() { install_midi_backend(&backend_); }
    ~World() { install_midi_backend(nullptr); }
    World(const World&) = delete;
    World& operator=(const World&) = delete;

    void attach(const EmbeddedObject& object) { attached_.push_back(backend_.attach(object)); }

    void clear() {
        for (const MIDIObjectRef object : attached_)
            backend_.detach(object);
        attached_.clear();
    }

private:
    EmbeddedBackend backend_{EmbeddedBackend::Time::manual};
    std::vector<MIDIObjectRef> attached_{};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static World world;
    Input input{data, size};
    reset_device_state();
    midi_init();
    const std::size_t room = input.byte();
    const Bytes name_bytes = input.run();
    set_current_name({reinterpret_cast<const char*>(name_bytes.data()), name_bytes.size()});
    Model wanted;
    while (!input.empty() && wanted.objects.size() < 16) {
        wanted.objects.push_back(read_object(input));
        world.attach(wanted.objects.back());
        if (wanted.objects.back().name)
            check_conversion(*wanted.objects.back().name, room);
    }
    require(midi_source_connect() == wanted.source(), "the last source of the name");
    require(equals(jname, wanted.jname), "the name that the source scan leaves");
    require(realtime_connect_state_flag == (wanted.online ? 1 : 0), "whether it is online");
    require(midi_get_destination() == wanted.destination(), "the last destination of the name");
    require(equals(jname, wanted.jname), "the name that the destination scan leaves");
    require(send_midi_out_data(0xFF, 0x0F, 0, 0) == wanted.device(), "whether the device is there");
    require(equals(name, wanted.texts[0]) && equals(manuf, wanted.texts[1]) &&
                equals(model, wanted.texts[2]),
            "the texts that the device scan leaves");
    midi_exit();
    world.clear();
    return 0;
}
