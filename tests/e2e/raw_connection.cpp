// SPDX-License-Identifier: MIT
#include "tests/e2e/raw_connection.h"

#include <cerrno>
#include <fstream>

#include <poll.h>

namespace {

// The gadget's driver can deadlock when it gets data while it completes a transfer. So the machine
// sends one message at a time and then pauses for a USB frame.
constexpr std::chrono::milliseconds frame{1};

void say_nothing(const char*, int, const char*, int, const char*, ...) {}

} // namespace

RawMachine::RawMachine(std::uint32_t code, std::string device, std::string gadget,
                       MachineFaults faults, MachineWatcher& watcher)
    : ConnectedMachine(code, faults, watcher, frame), device_(std::move(device)),
      gadget_(std::move(gadget)) {
    const int result = open();
    if (result < 0)
        throw MachineError("The raw MIDI port " + device_ + " cannot be opened: " +
                           snd_strerror(result) + ". \"amidi -l\" lists the ports there are.");
}

int RawMachine::descriptor() const {
    pollfd polled{.fd = -1, .events = 0, .revents = 0};
    if (input_)
        snd_rawmidi_poll_descriptors(input_.get(), &polled, 1);
    return polled.fd;
}

int RawMachine::open() {
    snd_lib_error_set_handler(say_nothing);
    snd_rawmidi_t* input = nullptr;
    snd_rawmidi_t* output = nullptr;
    const int result = snd_rawmidi_open(&input, &output, device_.c_str(), SND_RAWMIDI_NONBLOCK);
    if (result < 0)
        return result;
    input_.reset(input);
    output_.reset(output);
    // Otherwise closing the port sends an active-sensing byte, which no real machine does.
    snd_rawmidi_params_t* params = nullptr;
    snd_rawmidi_params_alloca(&params);
    snd_rawmidi_params_current(output, params);
    snd_rawmidi_params_set_no_active_sensing(output, params, 1);
    return snd_rawmidi_params(output, params);
}

void RawMachine::close() {
    // Otherwise closing waits for the host to fetch what is left.
    if (output_)
        snd_rawmidi_drop(output_.get());
    output_.reset();
    input_.reset();
}

void RawMachine::plug() {
    if (!controller_.empty())
        std::ofstream(gadget_) << controller_ << std::flush;
    if (open() < 0) {
        close();
        lose();
    }
}

void RawMachine::pull() {
    close();
    if (gadget_.empty())
        return;
    std::string bound;
    std::getline(std::ifstream(gadget_), bound);
    if (bound.empty())
        return;
    controller_ = bound;
    std::ofstream(gadget_) << '\n' << std::flush;
}

void RawMachine::read() {
    std::array<std::uint8_t, 256> bytes{};
    const ssize_t length = snd_rawmidi_read(input_.get(), bytes.data(), bytes.size());
    if (length > 0) {
        take({bytes.data(), static_cast<std::size_t>(length)});
    } else if (length != -EAGAIN) {
        close();
        lose();
    }
}

void RawMachine::write(std::span<const std::uint8_t> message) {
    // An error is ignored: the reply is lost, and the next read notices when the port has gone.
    if (output_)
        (void)snd_rawmidi_write(output_.get(), message.data(), message.size());
}
