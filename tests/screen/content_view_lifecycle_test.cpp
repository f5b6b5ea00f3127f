// SPDX-License-Identifier: MIT
#include "tests/screen/screen_fixture.h"

#include <functional>

namespace {

class ContentViewLifecycle : public ScreenFixture {
protected:
    /// What the program prints while something happens.
    static std::string lines_of(const std::function<void()>& happening) {
        CapturedOutput output;
        happening();
        return output.take();
    }
};

constexpr const char* appeared = "set_device_name 4accf4c4 \r\n"
                                 "middle_value c \r\n"
                                 "Generated device_name: 4ACCF4C4\n"
                                 "MIDIGetNumberOfSources 0 \r\n"
                                 "midi init failed \r\n";
constexpr const char* disappeared = "midi_exit\r\n";

TEST_F(ContentViewLifecycle, ANewScreenTouchesNoDeviceBeforeItAppears) {
    EXPECT_EQ(lines_of([] { const ContentView unseen; }), "");
}

TEST_F(ContentViewLifecycle, AppearingStartsTheLinkAndNamesTheStartMachineOnce) {
    EXPECT_EQ(lines_of([this] { open_screen(); }), appeared);
    EXPECT_EQ(lines_of([this] {
                  screen->show();
                  screen->raise();
                  screen->repaint();
              }),
              "");
}

TEST_F(ContentViewLifecycle, DisappearingStopsTheLinkOnce) {
    open_screen();
    EXPECT_EQ(lines_of([this] { screen->close(); }), disappeared);
    EXPECT_EQ(lines_of([this] { screen.reset(); }), "");
}

TEST_F(ContentViewLifecycle, AppearingAgainStartsTheLinkAgain) {
    open_screen();
    EXPECT_EQ(lines_of([this] { screen->hide(); }), disappeared);
    EXPECT_EQ(lines_of([this] { screen->show(); }), appeared);
}

TEST_F(ContentViewLifecycle, TheStartMachineIsConnectedWhileTheScreenIsThere) {
    EmbeddedMachine start(service, 0x4ACCF4C4);
    EXPECT_EQ(lines_of([this] { open_screen(); }), "set_device_name 4accf4c4 \r\n"
                                                   "middle_value c \r\n"
                                                   "Generated device_name: 4ACCF4C4\n"
                                                   "MIDIGetNumberOfSources 1 \r\n"
                                                   "midi init success ,number code 0 \r\n"
                                                   "4ACCF4C4 MIDI 1 is online\r\n");
}

TEST_F(ContentViewLifecycle, DestroyingAShownScreenStopsTheLinkOnce) {
    open_screen();
    EXPECT_EQ(lines_of([this] { screen.reset(); }), disappeared);
}

TEST_F(ContentViewLifecycle, DestroyingAnUnseenScreenStopsNothing) {
    screen = std::make_unique<ContentView>();
    EXPECT_EQ(lines_of([this] { screen.reset(); }), "");
}

/// Counts how often a window's picture goes and comes back by the desktop's doing.
class DesktopWatch : public QObject {
public:
    int hidden = 0;
    int shown = 0;

protected:
    bool eventFilter(QObject* /*watched*/, QEvent* event) override {
        hidden += event->spontaneous() && event->type() == QEvent::Hide;
        shown += event->spontaneous() && event->type() == QEvent::Show;
        return false;
    }
};

TEST_F(ContentViewLifecycle, MinimisingIsNeither) {
    open_screen();
    DesktopWatch watch;
    screen->installEventFilter(&watch);
    EXPECT_EQ(lines_of([&] {
                  screen->showMinimized();
                  ASSERT_TRUE(QTest::qWaitFor([&] { return watch.hidden == 1; }));
                  screen->showNormal();
                  ASSERT_TRUE(QTest::qWaitFor([&] { return watch.shown == 1; }));
              }),
              "");
}

TEST_F(ContentViewLifecycle, AScreenInsideAnotherWindowFollowsThatWindow) {
    QWidget window;
    auto* inside = new ContentView(false, &window);
    EXPECT_EQ(lines_of([&] { window.show(); }), appeared);
    EXPECT_EQ(lines_of([&] { window.hide(); }), disappeared);
    EXPECT_EQ(lines_of([&] { delete inside; }), "");
}

} // namespace
