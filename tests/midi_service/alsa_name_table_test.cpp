// SPDX-License-Identifier: MIT
#include "midi_service/alsa/name_table.h"

#include <gtest/gtest.h>

namespace {

constexpr unsigned everything = 0x7F;

// As Linux 6.1 writes it.
constexpr std::string_view table = R"(Client info
  cur  clients : 4
  peak clients : 5
  max  clients : 192

Client   0 : "System" [Kernel]
  Port   0 : "Timer" (Rwe-)
  Port   1 : "Announce" (R-e-)
    Connecting To: 129:0
Client  14 : "Midi Through" [Kernel]
  Port   0 : "Midi Through Port-0" (RWe-)
Client 128 : "4AC5F4C4" [User]
  Port   0 : "4AC5F4C4" (RWeX)
    Connecting To: 130:1
    Connected From: 130:0
  Port  12 : "a "quoted" name (R" (RWeX)
  Output pool :
    Pool size          : 500
Client 129 : "Client 14 : " [User]
  Port   0 : "Port   7 : " (-W--)
)";

// Linux 6.5 and later say more behind the name.
constexpr std::string_view newer_table = R"(Client 128 : "4AC5F4C4" [User Legacy]
  Port   0 : "4AC5F4C4" (RWeX) [In/Out]
)";

using Addresses = std::vector<Address>;

class AlsaNameTable : public testing::Test {
protected:
    void put(std::uint8_t client, std::uint8_t number, const std::string& name) {
        endpoints.put({.address = {client, number}, .name = name, .capabilities = everything});
    }

    EndpointList endpoints;
};

TEST_F(AlsaNameTable, NamesThatAreTheSameNeedNoQuestion) {
    put(14, 0, "Midi Through Port-0");
    put(128, 0, "4AC5F4C4");
    put(128, 12, "a \"quoted\" name (R");
    EXPECT_EQ(endpoints_named_otherwise(table, endpoints), Addresses{});
    EXPECT_EQ(endpoints_named_otherwise(newer_table, endpoints), Addresses{});
}

TEST_F(AlsaNameTable, EachOtherNameIsFound) {
    put(14, 0, "Midi Through Port-0");
    put(128, 0, "4AC6F4C4");
    put(128, 12, "");
    EXPECT_EQ(endpoints_named_otherwise(table, endpoints), (Addresses{{128, 0}, {128, 12}}));
}

TEST_F(AlsaNameTable, NameThatIsOnlyTheStartOfTheOtherIsFound) {
    put(128, 0, "4AC5F4C");
    EXPECT_EQ(endpoints_named_otherwise(table, endpoints), (Addresses{{128, 0}}));
    put(128, 0, "4AC5F4C4 ");
    EXPECT_EQ(endpoints_named_otherwise(table, endpoints), (Addresses{{128, 0}}));
}

TEST_F(AlsaNameTable, NameWithALineBreakIsAskedForEachTime) {
    put(128, 0, "two\nlines");
    EXPECT_EQ(endpoints_named_otherwise(
                  "Client 128 : \"x\" [User]\n  Port   0 : \"two\nlines\" (RWeX)", endpoints),
              (Addresses{{128, 0}}));
}

TEST_F(AlsaNameTable, TextThatIsNoTableMeansNothing) {
    put(128, 0, "4AC5F4C4");
    for (const std::string_view text :
         {"", "\n", "Client ", "Client 128", "Client 128 : \"", "  Port   0",
          "  Port 999 : \"x\" (", "Client x : \"y\"\n  Port   : \"z\" ("})
        EXPECT_EQ(endpoints_named_otherwise(text, endpoints), Addresses{}) << text;
}

TEST_F(AlsaNameTable, WithoutATableEachEndpointHasToBeAsked) {
    put(128, 0, "4AC5F4C4");
    put(128, 3, "other");
    NameTable none;
    EXPECT_FALSE(none.is_open());
    EXPECT_EQ(none.suspects(endpoints), (Addresses{{128, 0}, {128, 3}}));
}

} // namespace
