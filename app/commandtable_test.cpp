#include "app/commandtable.h"
#include "app/consoleuiservices.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace Quillmark;

namespace
{

class Commands : public ::testing::Test
{
protected:
    CommandTable::Command command(const std::string& category, const std::string& name,
                                  bool debounced = false, bool answer = true)
    {
        return {category,
                name,
                {},
                debounced,
                [this, category, name, answer]
                {
                    ran.push_back(category + "/" + name);
                    return answer;
                }};
    }

    int64_t now = 1000;
    std::vector<std::string> ran;
    CommandTable table{[this] { return now; }};
};

} // namespace

TEST_F(Commands, LookupComparesCategoryThenNameCaseSensitively)
{
    table.add(command("View", "Stop"));
    table.add(command("Transport", "Stop"));
    table.add(command("Transport", "Play"));
    table.add(command("File", "Quit", false, false));
    EXPECT_EQ(table.count(), 4);

    EXPECT_TRUE(table.interpret("Transport", "Stop"));
    EXPECT_TRUE(table.interpret("View", "Stop"));
    EXPECT_EQ(ran, (std::vector<std::string>{"Transport/Stop", "View/Stop"}));

    EXPECT_FALSE(table.interpret("transport", "Stop"));
    EXPECT_FALSE(table.interpret("Transport", "stop"));
    EXPECT_FALSE(table.interpret("Stop", "Transport"));
    EXPECT_FALSE(table.canInterpret("File", "quit"));
    EXPECT_EQ(ran.size(), 2u);

    // The action's answer is the answer, and a known command that reports not handled still
    // ran.
    EXPECT_FALSE(table.interpret("File", "Quit"));
    EXPECT_EQ(ran.back(), "File/Quit");

    // A second command of the same category and name replaces the first.
    table.add({"Transport",
               "Play",
               {},
               false,
               [this]
               {
                   ran.push_back("replaced");
                   return true;
               }});
    EXPECT_EQ(table.count(), 4);
    table.interpret("Transport", "Play");
    EXPECT_EQ(ran.back(), "replaced");
}

TEST_F(Commands, CanInterpretAnswersWithoutRunning)
{
    table.add(command("File", "Load Preset", true));
    for (int i = 0; i < 3; ++i)
        EXPECT_TRUE(table.interpretCommand(ICommandHandler::kCanInterpret, "File", "Load Preset"));
    EXPECT_FALSE(table.interpretCommand(ICommandHandler::kCanInterpret, "File", "Save Preset"));
    EXPECT_TRUE(ran.empty());
    EXPECT_EQ(table.getLastCommandTime(), -1);
    EXPECT_FALSE(table.interpretCommand("Something", "File", "Load Preset"));
    EXPECT_TRUE(ran.empty());
}

TEST_F(Commands, DebounceDropsARepeatWithin250MsOfTheEndOfTheLastRun)
{
    table.add(command("File", "Load Preset", true));
    table.add(command("File", "Save Preset", true));
    table.add(command("Transport", "Play"));

    EXPECT_TRUE(table.interpretCommand(ICommandHandler::kInterpret, "File", "Load Preset"));
    EXPECT_EQ(table.getLastCommandTime(), 1000);
    now += 100;
    // Dropped, but swallowed as handled; and any debounced command counts, not only the same.
    EXPECT_TRUE(table.interpretCommand(ICommandHandler::kInterpret, "File", "Load Preset"));
    EXPECT_TRUE(table.interpret("File", "Save Preset"));
    EXPECT_EQ(ran.size(), 1u);
    // Commands without debounce neither wait nor move the time stamp.
    EXPECT_TRUE(table.interpret("Transport", "Play"));
    EXPECT_EQ(ran.size(), 2u);
    EXPECT_EQ(table.getLastCommandTime(), 1000);

    now = 1249;
    table.interpret("File", "Load Preset");
    EXPECT_EQ(ran.size(), 2u);
    now = 1250;
    table.interpret("File", "Load Preset");
    EXPECT_EQ(ran.size(), 3u);
}

TEST_F(Commands, DebounceTimeIsTakenAfterALongCommand)
{
    // A command that keeps a dialog open for five seconds.
    table.add({"File",
               "Load Preset",
               {},
               true,
               [this]
               {
                   ran.push_back("dialog");
                   now += 5000;
                   return true;
               }});
    table.interpret("File", "Load Preset");
    EXPECT_EQ(table.getLastCommandTime(), 6000);
    now += 200; // a click right after the dialog closed
    table.interpret("File", "Load Preset");
    EXPECT_EQ(ran.size(), 1u);
    now += 50;
    table.interpret("File", "Load Preset");
    EXPECT_EQ(ran.size(), 2u);
}

TEST_F(Commands, QueuedCommandsReachTheTableThroughTheMainLoop)
{
    table.add(command("Transport", "Tarn Reset"));
    FMainLoop* loop = FMainLoop::instance();
    loop->queueCommand("Transport", "Tarn Reset");
    loop->setCommandHandler(&table);
    loop->runIdlePass();
    loop->setCommandHandler(nullptr);
    EXPECT_EQ(ran, (std::vector<std::string>{"Transport/Tarn Reset"}));
    EXPECT_EQ(loop->countQueuedCommands(), 0);
}

TEST(ConsoleUI, AnswersGivenUpFrontOrTheDefault)
{
    std::ostringstream err;
    ConsoleUIServices ui(err);
    Question question{"safe-start", "Which?", {"Delete", "Disable", "Use"}, 2};
    EXPECT_EQ(ui.ask(question), 2);
    ui.setAnswer("safe-start", "Disable");
    EXPECT_EQ(ui.ask(question), 1);
    ui.setAnswer("safe-start", "No such button");
    EXPECT_EQ(ui.ask(question), 2);
    // An answer belongs to its question only.
    Question other{"quit", "Sure?", {"Quit", "Cancel"}, 0};
    ui.setAnswer("safe-start", "Cancel");
    EXPECT_EQ(ui.ask(other), 0);
    EXPECT_TRUE(err.str().empty());
}

TEST(ConsoleUI, BootTextAndMessagesGoToTheStream)
{
    std::ostringstream lines;
    ConsoleUIServices verbose(lines);
    verbose.setBootText("Scan QEL3 Folder");
    verbose.setBootText({});
    verbose.showMessage("Defaults: damaged");
    EXPECT_EQ(lines.str(), "Scan QEL3 Folder\nQel3PluginTestHost: Defaults: damaged\n");

    std::ostringstream quiet;
    {
        ConsoleUIServices silent(quiet, ConsoleUIServices::BootText::kSilent);
        silent.setBootText("Scan QEL3 Folder");
        silent.setMessagePrefix("");
        silent.showMessage("only this");
    }
    EXPECT_EQ(quiet.str(), "only this\n");

    std::ostringstream terminal;
    {
        ConsoleUIServices progress(terminal, ConsoleUIServices::BootText::kProgressLine);
        progress.setBootText("a.so");
        progress.showMessage("problem");
    }
    // The progress line is cleared before a message and when the services end.
    EXPECT_EQ(terminal.str(), "\r\033[Ka.so\r\033[KQel3PluginTestHost: problem\n");
}
