// SPDX-License-Identifier: MIT
#include "tests/device_layer/device_layer_test.h"

#include <cstdio>
#include <cstring>

namespace {

struct Outcome {
    std::string name; ///< as it stands after the call
    std::string printed_name;
    bool middle_printed;
};

std::string digits(const char* format, unsigned value) {
    char text[16];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

// The naming rules as one table: a code is named by its own digits exactly when it is in it.
Outcome outcome_of(std::uint32_t code) {
    struct Row {
        std::uint32_t low, family;
        bool middle_for_low_half_alone;
    };
    static constexpr Row rows[] = {
        {0xCC04, 0x4AC, true},  {0xCC15, 0x4AC, true},  {0xCC27, 0x4AC, true},
        {0xFF10, 0x4AC, true},  {0xC008, 0x16C, false}, {0xFF04, 0x4D4, false},
        {0xFF04, 0x608, false}, {0xF4C4, 0x4AC, false},
    };
    for (const Row& row : rows) {
        if (row.low != (code & 0xFFFF))
            continue;
        if (row.family == code >> 20)
            return {digits("%08X", code), digits("%08X", code), true};
        if (row.middle_for_low_half_alone)
            return {"", "", true};
    }
    return {code == 0x44CACC10 ? "44CACC10" : "", "", false};
}

class NamesExhaustive : public DeviceLayerTest {
protected:
    void name_and_compare(std::uint32_t code) {
        const Outcome outcome = outcome_of(code);
        std::memset(device_name, 0x5A, sizeof device_name);
        set_device_name(code);
        recording.journal.clear();

        expected_ += "set_device_name " + digits("%x", code) + " \r\n";
        if (outcome.middle_printed)
            expected_ += "middle_value " + digits("%x", code >> 16 & 0xF) + " \r\n";
        expected_ += "Generated device_name: " + outcome.printed_name + "\n";
        expected_ += "MIDIGetNumberOfSources 0 \r\nmidi init failed \r\n";

        std::string whole(sizeof device_name, '\0');
        whole.replace(0, outcome.name.size(), outcome.name);
        const std::uint32_t halves = outcome.name.empty() ? 0xFFFFFFFF : code;
        const bool right = std::memcmp(device_name, whole.data(), whole.size()) == 0 &&
                           VID_val == halves >> 16 && PID_val == (halves & 0xFFFF) &&
                           VID_PID_val == halves;
        if (!right && wrong_++ == 0)
            first_wrong_ = digits("%08X", code);
        named_ += !outcome.name.empty();
    }

    // Compares without printing megabytes when there is a difference.
    void expect_all_right(const std::string& printed) {
        EXPECT_EQ(wrong_, 0U) << "the first is " << first_wrong_;
        if (printed == expected_)
            return;
        std::size_t at = 0;
        while (at < printed.size() && at < expected_.size() && printed[at] == expected_[at])
            ++at;
        const std::size_t from = at < 60 ? 0 : at - 60;
        ADD_FAILURE() << "printed:\n"
                      << printed.substr(from, 120) << "\nexpected:\n"
                      << expected_.substr(from, 120);
    }

    std::string expected_;
    std::string first_wrong_;
    unsigned wrong_ = 0;
    unsigned named_ = 0;
};

class EveryHighHalf : public NamesExhaustive, public testing::WithParamInterface<unsigned> {};

TEST_P(EveryHighHalf, has_its_name_halves_and_lines) {
    const std::string printed = printed_by([this] {
        for (std::uint32_t high = 0; high <= 0xFFFF; ++high)
            name_and_compare(high << 16 | GetParam());
    });
    expect_all_right(printed);
    const unsigned low = GetParam();
    EXPECT_EQ(named_, low == 0xFF04 ? 32U : low == 0xCC10 ? 1U : low == 0 ? 0U : 16U);
}

INSTANTIATE_TEST_SUITE_P(low_half, EveryHighHalf,
                         testing::Values(0xCC04U, 0xCC15U, 0xCC27U, 0xFF10U, 0xC008U, 0xFF04U,
                                         0xF4C4U, 0xCC10U, 0U),
                         [](const auto& half) { return digits("%04X", half.param); });

class EveryLowHalf : public NamesExhaustive, public testing::WithParamInterface<unsigned> {};

TEST_P(EveryLowHalf, has_its_name_halves_and_lines) {
    const std::string printed = printed_by([this] {
        for (std::uint32_t low = 0; low <= 0xFFFF; ++low)
            name_and_compare(GetParam() << 16 | low);
    });
    expect_all_right(printed);
    const unsigned family = GetParam() >> 4;
    EXPECT_EQ(named_, family == 0x4AC ? 5U : 1U);
}

INSTANTIATE_TEST_SUITE_P(high_half, EveryLowHalf,
                         testing::Values(0x4ACCU, 0x16C0U, 0x4D4FU, 0x6085U, 0x44CAU),
                         [](const auto& half) { return digits("%04X", half.param); });

} // namespace
