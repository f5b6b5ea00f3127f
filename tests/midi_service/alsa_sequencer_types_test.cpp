// SPDX-License-Identifier: MIT
#include "midi_service/alsa/sequencer_types.h"

#include <cerrno>

#include <gtest/gtest.h>

namespace {

TEST(AlsaSequencerTypes, PlacesLeftAreThoseOfPrograms) {
    const std::vector<ClientInfo> clients{
        {.number = 0}, {.number = 14}, {.number = 127}, {.number = 128}, {.number = 191}};
    EXPECT_EQ(places_left(clients, 192), 62);
    EXPECT_EQ(places_left({}, 192), 64);
    EXPECT_EQ(places_left(clients, 129), 0);
    EXPECT_EQ(places_left(clients, -ENODEV), 0) << "the number could not be asked for";
}

} // namespace
