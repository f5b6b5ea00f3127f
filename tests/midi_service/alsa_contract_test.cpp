// SPDX-License-Identifier: MIT
#include "tests/midi_service/backend_contract.h"

#include "midi_service/alsa/alsa_backend.h"
#include "tests/midi_service/alsa_peer.h"

namespace {

/// Peers that are programs on this computer's sequencer.
class AlsaWorld final : public ContractWorld {
public:
    AlsaWorld() = default;
    ~AlsaWorld() override = default;

    MidiBackend& backend() override { return backend_; }

    Peer attach(std::string_view utf8_name) override {
        peers_.push_back(std::make_unique<AlsaPeer>(std::string(utf8_name), next_receiver()));
        return peers_.size() - 1;
    }

    void rename(Peer peer, std::string_view utf8_name) override {
        peers_[peer]->rename(std::string(utf8_name));
    }
    void detach(Peer peer) override { peers_[peer].reset(); }
    void let_names_age() override { now_ += std::chrono::milliseconds{100}; }
    void emit(Peer peer, const Bytes& messages) override { peers_[peer]->emit(messages); }

private:
    std::vector<std::unique_ptr<AlsaPeer>> peers_;
    static inline std::chrono::milliseconds now_{0};
    const std::unique_ptr<AlsaBackend> owned_ = AlsaBackend::create([] { return now_; });
    AlsaBackend& backend_ = *owned_;
};

std::unique_ptr<ContractWorld> make_alsa_world() {
    return std::make_unique<AlsaWorld>();
}

} // namespace

INSTANTIATE_TEST_SUITE_P(Alsa, BackendContract, testing::Values(&make_alsa_world));
