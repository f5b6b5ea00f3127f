// SPDX-License-Identifier: MIT
#include "tests/midi_service/backend_contract.h"

#include "midi_service/embedded/embedded_backend.h"

namespace {

using std::chrono::microseconds;

/// Peers on the embedded service, which see every byte that is sent to them.
class EmbeddedWorld final : public ContractWorld {
public:
    explicit EmbeddedWorld(EmbeddedBackend::Time time)
        : manual_(time == EmbeddedBackend::Time::manual), backend_(time) {}
    ~EmbeddedWorld() override = default;

    MidiBackend& backend() override { return backend_; }

    Peer attach(std::string_view utf8_name) override {
        references_.push_back(backend_.attach(look(utf8_name), next_receiver()));
        return references_.size() - 1;
    }

    void rename(Peer peer, std::string_view utf8_name) override {
        backend_.update_object(references_[peer], look(utf8_name));
    }

    void detach(Peer peer) override { backend_.detach(references_[peer]); }
    void let_names_age() override {} // they are always new

    void emit(Peer peer, const Bytes& messages) override {
        backend_.emit(references_[peer], messages, microseconds{0});
        if (manual_)
            backend_.advance(microseconds{0});
    }

private:
    static EmbeddedObject look(std::string_view utf8_name) {
        return {.name = std::string(utf8_name), .model = std::string(utf8_name)};
    }

    bool manual_;
    std::vector<MIDIObjectRef> references_;
    EmbeddedBackend backend_; ///< last: its receive thread ends first
};

std::unique_ptr<ContractWorld> make_real_time_world() {
    return std::make_unique<EmbeddedWorld>(EmbeddedBackend::Time::real);
}

std::unique_ptr<ContractWorld> make_manual_time_world() {
    return std::make_unique<EmbeddedWorld>(EmbeddedBackend::Time::manual);
}

} // namespace

INSTANTIATE_TEST_SUITE_P(RealTime, BackendContract, testing::Values(&make_real_time_world));
INSTANTIATE_TEST_SUITE_P(ManualTime, BackendContract, testing::Values(&make_manual_time_world));
