// SPDX-License-Identifier: MIT
// Bytes into the simulated machine's firmware, cut anywhere, with any faults. What it keeps and
// answers is computed from the list of messages that it got.
#include "simulation/firmware.h"
#include "fuzz/midi_model.h"

#include <optional>
#include <utility>

namespace {

/// The short messages that a cable brings, counted and with the clocks in front of them.
class Cable {
public:
    struct Message {
        Bytes bytes;
        unsigned clocks;
    };

    /// The message that the byte ends, which counts as one; real-time bytes count too.
    std::optional<Message> read(std::uint8_t byte) {
        if (byte >= 0xF8) {
            ++count;
            clocks_ += byte == 0xF8 ? 1 : 0;
            return std::nullopt;
        }
        if (byte >= 0x80) {
            open_ = {byte};
            wanted_ = data_bytes(byte).value_or(0) + 1;
            if (byte == 0xF7 || wanted_ != 1)
                return std::nullopt;
            return end();
        }
        if (wanted_ < 2)
            return std::nullopt;
        open_.push_back(byte);
        if (open_.size() < wanted_)
            return std::nullopt;
        const std::uint8_t status = open_.front();
        auto message = end();
        if (status < 0xF0) {
            open_ = {status};
            wanted_ = message.bytes.size();
        }
        return message;
    }

    void cut() {
        wanted_ = 0;
        clocks_ = 0;
    }

    unsigned count = 0;

private:
    Message end() {
        ++count;
        wanted_ = 0;
        return {std::exchange(open_, {}), std::exchange(clocks_, 0)};
    }

    Bytes open_{};
    std::size_t wanted_ = 0; ///< less than 2: data bytes belong to nothing
    unsigned clocks_ = 0;
};

bool agree(const Cable::Message& one, const Cable::Message& other) {
    return one.bytes.size() == 3 && other.bytes.size() == 3 &&
           (one.bytes[0] & 0x0F) == (other.bytes[0] & 0x0F) && one.bytes[1] == other.bytes[1] &&
           one.bytes[2] == other.bytes[2];
}

bool is_note_on(const Cable::Message& message) {
    return message.bytes[0] >> 4 == 0x9 && message.clocks >= 6;
}

/// The machine as its description has it.
class Model {
public:
    explicit Model(const MachineFaults& faults) : faults_(faults) {}

    void read(std::uint8_t byte) {
        if (vanished)
            return;
        const auto message = cable_.read(byte);
        if (faults_.vanish_after != 0 && !was_gone_ && cable_.count == faults_.vanish_after) {
            vanished = was_gone_ = true;
            return;
        }
        if (!message)
            return;
        last_.push_back(*message);
        const std::size_t n = last_.size();
        if (n < 3 || is_note_on(last_[n - 1]) || !agree(last_[n - 1], last_[n - 2]) ||
            !agree(last_[n - 2], last_[n - 3]) || last_[n - 2].bytes[0] >> 4 != 0x8 ||
            !is_note_on(last_[n - 3]))
            return;
        take(last_[n - 1].bytes);
    }

    void power_cycle() {
        table = saved;
        vanished = false;
        last_.clear();
        cable_.cut();
    }

    MappingTable table{};
    MappingTable saved{};
    bool vanished = false;
    std::vector<Bytes> taken{}; ///< messages that counted, since the last power cycle or before it

private:
    void set(const protocol::KeyMapping& mapping) {
        table.erase(mapping);
        table.insert(mapping);
    }

    void take(const Bytes& message) {
        const auto type = static_cast<std::uint8_t>(message[0] & 0xF0);
        if (message == Bytes{0xAF, 0x7F, 0x7F})
            saved = table;
        else if (type == 0x80 || type == 0x90 || type == 0xB0 || type == 0xE0)
            set({message[2], static_cast<protocol::MessageType>(type), (message[0] & 0x0F) + 1,
                 message[1]});
        else
            return;
        taken.push_back(message);
    }

    const MachineFaults faults_;
    Cable cable_{};
    std::vector<Cable::Message> last_{};
    bool was_gone_ = false;
};

MachineFaults read_faults(Input& input) {
    MachineFaults faults;
    const auto count = [&input] {
        const std::uint8_t number = input.byte();
        return number == 0xFF ? MachineFaults::always : number;
    };
    faults.silent = count();
    faults.slow = count();
    faults.delay_ms = input.byte();
    faults.wrong = count();
    faults.wrong_byte = 1 + input.byte() % 3U;
    faults.chatter = count();
    faults.vanish_after = input.byte();
    return faults;
}

/// Uses up one of a number of faults.
bool faulty(unsigned& left) {
    const bool yes = left != 0;
    left -= yes && left != MachineFaults::always ? 1 : 0;
    return yes;
}

/// Whether the replies are the echoes of these messages, each with the next faults.
void check_replies(const std::vector<MachineReply>& replies, const std::vector<Bytes>& taken,
                   MachineFaults& faults) {
    std::size_t at = 0;
    for (const Bytes& message : taken) {
        if (faulty(faults.silent))
            continue;
        const unsigned after = 1 + (faulty(faults.slow) ? faults.delay_ms : 0);
        Bytes echo = message;
        if (faulty(faults.wrong))
            echo[faults.wrong_byte - 1] ^= 1;
        const bool chatters = faulty(faults.chatter);
        for (std::size_t i = 0; i < (chatters ? 5U : 1U); ++i, ++at) {
            require(at < replies.size() && replies[at].after_ms == after, "the echo comes in time");
            const Bytes bytes(replies[at].bytes.begin(),
                              replies[at].bytes.begin() +
                                  static_cast<std::ptrdiff_t>(replies[at].length));
            require(are_whole_messages(bytes), "a machine sends whole messages");
            if (!chatters || i == 2)
                require(bytes == echo, "the echo is the message");
            else
                require(bytes[0] == 0xF8 || (bytes[0] & 0x0F) != (message[0] & 0x0F),
                        "no chatter passes for an echo");
        }
    }
    require(at == replies.size(), "nothing else is answered");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input{data, size};
    MachineFaults faults = read_faults(input);
    Firmware firmware{faults};
    Model model{faults};
    while (!input.empty()) {
        const Bytes run = input.run();
        if (run.empty()) {
            require(firmware.power_cycle().kind == MachineEvent::Kind::power_cycle, "it says so");
            model.power_cycle();
        }
        const bool was_gone = model.vanished;
        model.taken.clear();
        const MachineAnswer answer = firmware.receive(run);
        for (const std::uint8_t byte : run)
            model.read(byte);
        require(firmware.table() == model.table, "the mappings that were announced");
        require(firmware.saved_table() == model.saved, "the mappings that were saved");
        require(firmware.vanished() == model.vanished, "it goes when it should");
        if (model.vanished) {
            require(answer.replies.empty(), "a machine that is gone sends nothing");
            require(answer.events.size() == model.taken.size() + (was_gone ? 0 : 1),
                    "an event for each message that counted, and one for the end");
            check_replies({}, {}, faults);
            for (std::size_t i = 0; i < model.taken.size(); ++i) {
                if (!faulty(faults.silent)) { // the faults are used up though nothing is sent
                    (void)faulty(faults.slow);
                    (void)faulty(faults.wrong);
                    (void)faulty(faults.chatter);
                }
            }
            continue;
        }
        require(answer.events.size() == model.taken.size(), "an event for each that counted");
        check_replies(answer.replies, model.taken, faults);
    }
    return 0;
}
