// The step pattern's window under a real X server: clicks on the matrix move a step to the
// clicked note and the mark follows; the edit actions and the switch reach the pattern player.
#include "ui/eventeditorwindow.h"

#include "midi/eventeditor.h"
#include "midi/eventpattern.h"
#include "ui/patternview.h"
#include "ui/uitestsupport.h"

#include <QCheckBox>
#include <QComboBox>
#include <QImage>
#include <QTest>

#include <gtest/gtest.h>

using namespace Quillmark;
using Quillmark::testing::qtApplication;

namespace
{

class StepPatternWindow : public ::testing::Test
{
protected:
    void SetUp() override
    {
        qtApplication();
        editor = new EventEditor(player);
        QString error;
        window = EventEditorWindow::create(*editor, SkinLoader({QEL_SKIN_DIR}), &error);
        ASSERT_NE(window, nullptr) << error.toStdString();
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window));
        view = window->getPatternView();
        ASSERT_NE(view, nullptr);
    }
    void TearDown() override
    {
        delete window;
        if (editor)
            editor->release();
    }

    /** Chooses an item as a person does, by keys, so the combo box reports a choice. */
    static void choose(QComboBox* box, const QString& text)
    {
        const int at = box->findText(text);
        ASSERT_GE(at, 0) << text.toStdString();
        box->setFocus();
        while (box->currentIndex() > at)
            QTest::keyClick(box, Qt::Key_Up);
        while (box->currentIndex() < at)
            QTest::keyClick(box, Qt::Key_Down);
    }

    /** Whether the view paints the mark of a cell: the highlight colour at its middle. */
    bool markShown(int row, int column)
    {
        const QImage picture = view->grab().toImage();
        return picture.pixelColor(view->cellCenter(row, column)) ==
               view->palette().color(QPalette::Highlight);
    }

    PatternPlayer player;
    EventEditor* editor = nullptr;
    EventEditorWindow* window = nullptr;
    PatternView* view = nullptr;
};

} // namespace

TEST_F(StepPatternWindow, AClickPutsTheStepOnTheClickedNoteAndTheMarkFollows)
{
    EXPECT_EQ(window->countBindings(), 3);
    // Row 0 is note 72, row 36 note 36; column 1 is the first step.
    const QPoint first = view->cellCenter(12, 1); // note 60
    EXPECT_EQ(view->cellAt(first), qMakePair(12, 1));
    QTest::mouseClick(view, Qt::LeftButton, {}, first);
    EXPECT_EQ(player.getPattern().getPitch(0), 60);
    EXPECT_TRUE(markShown(12, 1));

    QTest::mouseClick(view, Qt::LeftButton, {}, view->cellCenter(0, 16));
    EXPECT_EQ(player.getPattern().getPitch(15), 72);
    QTest::mouseClick(view, Qt::LeftButton, {}, view->cellCenter(36, 16));
    EXPECT_EQ(player.getPattern().getPitch(15), 36);
    EXPECT_TRUE(markShown(36, 16));
    EXPECT_FALSE(markShown(0, 16)) << "the step left its old note";

    // The column of names changes nothing.
    const EventPattern before = player.getPattern();
    QTest::mouseClick(view, Qt::LeftButton, {}, view->cellCenter(5, 0));
    for (int32 step = 0; step < EventPattern::kStepCount; ++step)
        EXPECT_EQ(player.getPattern().getPitch(step), before.getPitch(step)) << step;
}

TEST_F(StepPatternWindow, EditActionsAndTheSwitchReachThePatternPlayer)
{
    QTest::mouseClick(view, Qt::LeftButton, {}, view->cellCenter(24, 1)); // note 48
    auto* action = window->findChild<QComboBox*>("editAction");
    ASSERT_NE(action, nullptr);
    ASSERT_EQ(action->count(), 3);
    choose(action, "Chromatic");
    for (int32 step = 0; step < EventPattern::kStepCount; ++step)
        EXPECT_EQ(player.getPattern().getPitch(step), 48 + step) << step;
    EXPECT_TRUE(markShown(24 - 15, 16)) << "the last step shows at note 63";

    choose(action, "No Pattern");
    for (int32 step = 0; step < EventPattern::kStepCount; ++step)
        EXPECT_EQ(player.getPattern().getPitch(step), 0) << step;
    EXPECT_FALSE(markShown(24 - 15, 16));

    auto* length = window->findChild<QComboBox*>("stepLength");
    ASSERT_NE(length, nullptr);
    choose(length, "1/8");
    EXPECT_EQ(player.getPattern().getStepLengthIndex(), 3);

    auto* playing = window->findChild<QCheckBox*>("eventsActive");
    ASSERT_NE(playing, nullptr);
    EXPECT_TRUE(playing->isChecked());
    QTest::mouseClick(playing, Qt::LeftButton);
    EXPECT_FALSE(player.isActive());
}
