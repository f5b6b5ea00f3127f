// SPDX-License-Identifier: MIT
#include "midi_service/alsa/endpoint_list.h"

#include <cstdlib>
#include <fstream>

#include <gtest/gtest.h>

namespace {

/// A card's folder the way sysfs lays it out: a link to the USB interface, whose parent is the
/// device.
class AlsaCardTexts : public testing::Test {
protected:
    AlsaCardTexts() {
        std::string name = (std::filesystem::temp_directory_path() / "cardXXXXXX").string();
        root_ = mkdtemp(name.data());
        std::filesystem::create_directories(root_ / "1-1" / "1-1:1.0");
        std::filesystem::create_directory(root_ / "card0");
        std::filesystem::create_symlink("../1-1/1-1:1.0", root_ / "card0" / "device");
    }
    ~AlsaCardTexts() override { std::filesystem::remove_all(root_); }

    void write(const std::string& file, const std::string& text) const {
        std::ofstream(root_ / "1-1" / file) << text;
    }
    [[nodiscard]] DeviceTexts texts() const {
        return card_texts("4AC5F4C4", "The Card", root_ / "card0");
    }

    std::filesystem::path root_;
};

TEST_F(AlsaCardTexts, ModelAndManufacturerAreTheUsbDevicesOwn) {
    write("product", "4AC5F4C4\n");
    write("manufacturer", "Some Maker\n");
    EXPECT_EQ(texts().name, "4AC5F4C4");
    EXPECT_EQ(texts().model, "4AC5F4C4");
    EXPECT_EQ(texts().manufacturer, "Some Maker");
}

TEST_F(AlsaCardTexts, WhatTheDeviceDoesNotSayIsTheCardsName) {
    EXPECT_EQ(texts().model, "The Card");
    EXPECT_EQ(texts().manufacturer, "The Card");
    write("product", "4AC5F4C4\n");
    write("manufacturer", "\n");
    EXPECT_EQ(texts().model, "4AC5F4C4");
    EXPECT_EQ(texts().manufacturer, "The Card");
}

TEST_F(AlsaCardTexts, ProgramIsItsOwnModelAndHasNoManufacturer) {
    const DeviceTexts program = device_texts({.name = "program", .card = -1});
    EXPECT_EQ(program.name, "program");
    EXPECT_EQ(program.model, "program");
    EXPECT_EQ(program.manufacturer, "");
}

} // namespace
