// The progress line: its text, cut to the terminal's width without splitting a character, and
// silence when it is not enabled.
#include "app/progressline.h"
#include "app/testreporter.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace Quillmark;

TEST(ProgressLine, TellsClassTestCountsAndTime)
{
    std::ostringstream out;
    ProgressLine line(out, true);
    line.setTotal(480);
    line.setDone(12);
    line.setCurrent("Global Instance/Qel Gain/Global Instance", "QEL3 Conformity/General/MIDI");
    EXPECT_EQ(line.text(83.9, 0), "[12/480 01:23] Global Instance/Qel Gain/Global Instance: "
                                  "QEL3 Conformity/General/MIDI");
    EXPECT_EQ(line.text(3725.0, 20), "[12/480 62:05] Globa");
    line.setCurrent("Caf\xC3\xA9", "");
    EXPECT_EQ(line.text(0.0, 0), "[12/480 00:00] Caf\xC3\xA9");
    EXPECT_EQ(line.text(0.0, 18), "[12/480 00:00] Caf");
    EXPECT_EQ(line.text(0.0, 19), "[12/480 00:00] Caf\xC3\xA9") << "cut between characters";

    line.redraw();
    EXPECT_EQ(out.str().rfind("\r\033[K[12/480 00:0", 0), 0u) << out.str();
    line.clear();
    EXPECT_EQ(out.str().substr(out.str().size() - 4), "\r\033[K");
}

TEST(ProgressLine, ADisabledLineWritesNothingAndResultsStayPlain)
{
    std::ostringstream out;
    ProgressLine line(out, false);
    TestReporter reporter(out, line);
    reporter.started("Root/Qel Gain Tests/Mapping", "Root/Qel Gain Tests");
    TestOutcome passed;
    passed.path = "Root/Qel Gain Tests/Mapping";
    passed.status = passed.summary = 1;
    reporter.finished(passed);
    TestOutcome group;
    group.path = "Root/Global Instance/Fx/Global Instance";
    group.status = 3;
    group.summary = 2;
    group.leaf = false;
    group.note = "setup failed";
    reporter.finished(group);
    TestOutcome notRun;
    notRun.path = "Root/Global Instance/Fx/Global Instance/Other";
    notRun.ran = false;
    reporter.finished(notRun);
    reporter.printSummary();
    EXPECT_EQ(out.str(), "Passed: Root/Qel Gain Tests/Mapping\n"
                         "FAILED: Root/Global Instance/Fx/Global Instance (setup failed)\n"
                         "1 passed, 1 failed\n");
    EXPECT_EQ(reporter.countNotRun(), 1);
}
