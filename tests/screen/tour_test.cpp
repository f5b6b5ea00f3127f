// SPDX-License-Identifier: MIT
#include "demo/demo.h"
#include "tests/screen/screen_fixture.h"

#include <QDir>
#include <QTemporaryDir>

namespace {

class Tour : public OpenScreen {
protected:
    EmbeddedMachine machine{service, machine_5};
    QTemporaryDir folder;
    QDir pictures{folder.path() + u"/pictures"_s};
};

TEST_F(Tour, SucceedsWhenTheMachineHoldsAndHasSavedWhatWasAskedFor) {
    EXPECT_TRUE(run_tour(*screen, machine, pictures));
    EXPECT_EQ(machine.saved_table(), (MappingTable{{12, protocol::MessageType::note_on, 3, 64}}));
}

TEST_F(Tour, LeavesAPictureOfEachState) {
    std::ignore = run_tour(*screen, machine, pictures);
    EXPECT_EQ(pictures.entryList(QDir::Files, QDir::Name),
              (QStringList{u"1-start.png"_s, u"2-menu.png"_s, u"3-filled-in.png"_s,
                           u"4-applied.png"_s, u"5-saved.png"_s, u"6-end.png"_s}));
    for (const QFileInfo& file : pictures.entryInfoList(QDir::Files))
        EXPECT_EQ(QImage(file.filePath()).size(), screen->size() * screen->devicePixelRatio());
}

TEST_F(Tour, FailsWhenTheMachineIsAway) {
    machine.unplug();
    EXPECT_FALSE(run_tour(*screen, machine, pictures));
}

TEST_F(Tour, FailsWhenTheMachineHoldsAnotherMappingToo) {
    apply()->click();
    alert_button(1)->click();
    EXPECT_FALSE(run_tour(*screen, machine, pictures));
}

TEST_F(Tour, FailsWhenItCannotLeaveItsPictures) {
    EXPECT_FALSE(run_tour(*screen, machine, QDir(u"/proc/no/such/folder"_s)));
}

} // namespace
