// For tests of the player and its slot rows: a started engine with the example modules beside
// the probe, a player over it, dialogs that answer with the paths a test gives them, and a way
// to run a script with Debian's Python, where python3-mido lives.
#pragma once

#include "base/fmainloop.h"
#include "common/exampleids.h"
#include "engine/graphtestsupport.h"
#include "engine/playerdialogs.h"
#include "engine/qelplayer.h"
#include "engine/qelslotcontroller.h"

#include <cstdio>
#include <deque>
#include <fstream>
#include <sstream>

namespace Quillmark::MiniEngine::testing
{

/** Answers each question with the next answer queued; a file dialog with no answer queued
    is cancelled. Records what it was asked. */
class ScriptedDialogs : public PlayerDialogs
{
public:
    std::string askOpenFile(const std::string& title,
                            const std::vector<PlayerFileType>& types) override
    {
        return next(title, types);
    }
    std::string askSaveFile(const std::string& title,
                            const std::vector<PlayerFileType>& types) override
    {
        return next(title, types);
    }
    int ask(const std::string& text, const std::vector<std::string>& buttons) override
    {
        questions.push_back(text);
        if (buttonAnswers.empty())
            return 0;
        int answer = buttonAnswers.front();
        buttonAnswers.pop_front();
        return answer;
    }

    std::deque<std::string> paths;
    std::deque<int> buttonAnswers;
    std::vector<std::string> titles;
    std::vector<std::string> questions;
    std::vector<PlayerFileType> lastTypes;

private:
    std::string next(const std::string& title, const std::vector<PlayerFileType>& types)
    {
        titles.push_back(title);
        lastTypes = types;
        if (paths.empty())
            return std::string();
        std::string path = paths.front();
        paths.pop_front();
        return path;
    }
};

class PlayerFixture : public GraphFixture
{
protected:
    void SetUp() override
    {
        GraphFixture::SetUp();
        const std::string examples = temp.folder("examples");
        for (const char* module : {Qel::Examples::kMetronomeModule, Qel::Examples::kQelSynthModule,
                                   Qel::Examples::kQelGainModule})
            Quillmark::testing::copyInto(Quillmark::testing::exampleModule(module), examples);
        ASSERT_GE(registry->scanFolder(examples), 3);
        start();
        player = new QelPlayer(graph, rack, settings, registry, &dialogs);
    }

    void TearDown() override
    {
        if (player)
        {
            player->shutdown();
            player->release();
        }
        player = nullptr;
        GraphFixture::TearDown();
    }

    UValue& value(int32 tag) { return *player->valueOf(tag); }
    double number(int32 tag) { return value(tag).getFloat(); }
    std::string text(int32 tag)
    {
        String result;
        value(tag).getText(result);
        return result.toUtf8();
    }

    /** A new player over the same engine and settings, as at the next start. */
    void restartPlayer()
    {
        player->shutdown();
        player->release();
        player = new QelPlayer(graph, rack, settings, registry, &dialogs);
    }

    ScriptedDialogs dialogs;
    QelPlayer* player = nullptr;
};

/** Runs `script` with Debian's interpreter; answers what it printed, `ok` false on failure. */
inline std::string runDebianPython(const Quillmark::testing::TempFolder& folder,
                                   const std::string& script, bool& ok)
{
    const std::string scriptPath = folder.file("script.py");
    const std::string outPath = folder.file("script.out");
    std::ofstream(scriptPath) << script;
    const std::string command = "/usr/bin/python3 '" + scriptPath + "' >'" + outPath + "' 2>&1";
    ok = std::system(command.c_str()) == 0;
    std::ifstream in(outPath);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

} // namespace Quillmark::MiniEngine::testing
