// SPDX-License-Identifier: MIT
#include "ctl/port_right.h"

#include <utility>
#include <vector>

void LockWaits::add(const std::string& address) {
    has_changed_ = addresses_.insert(address).second || has_changed_;
}

void LockWaits::remove(const std::string& address) {
    has_changed_ = addresses_.erase(address) != 0 || has_changed_;
}

bool LockWaits::take() {
    if (!std::exchange(has_changed_, false))
        return watch_ && watch_->take_changes();
    watch_.reset();
    std::vector<std::string> paths;
    for (const std::string& address : addresses_)
        paths.push_back(lock_path(lock_folder().value_or(""), address));
    if (!paths.empty())
        watch_.emplace(paths);
    return true;
}

PortRight::PortRight(const MidiSystem& system, std::string address, LockWaits& waits, Say say_who,
                     Say say_risk)
    : system_(system), address_(std::move(address)), waits_(waits), say_who_(std::move(say_who)),
      say_risk_(std::move(say_risk)) {}

PortRight::~PortRight() {
    waits_.remove(address_);
}

bool PortRight::take() {
    if (attempt_.lock) {
        attempt_.lock->try_again();
    } else {
        attempt_ = try_lock(system_, address_);
        if (!attempt_.refusal.empty())
            say_who_(attempt_.refusal);
        if (!attempt_.risk.empty())
            say_risk_(attempt_.risk);
    }
    const bool has_it = !attempt_.lock || attempt_.lock->is_held();
    if (!has_it)
        waits_.add(address_);
    return has_it;
}
