// A plug-in edited on its own: edits of its generic editor reach the processor at the next block,
// what the processor reports reaches the controller at "Idle", and a preset saved from it loads
// back while a bad file changes nothing.
#include "app/editedplugin.h"
#include "app/info/genericeditor.h"
#include "base/platform/files.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/testsupport.h"
#include "plugins/common/exampleids.h"
#include "qel3/icomponent.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

using namespace Quillmark;
using namespace Quillmark::Qel::Examples;

namespace
{

/** The gain in dB that Qel Gain's processor keeps in its state: after the tag and the version,
    a little-endian double. */
double storedGainDb(const std::string& state)
{
    double gain = -1000.0;
    if (state.size() >= 16)
        std::memcpy(&gain, state.data() + 8, sizeof gain);
    return gain;
}

class EditedPluginTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        registry = new FComponentRegistry;
        Quillmark::testing::copyInto(Quillmark::testing::exampleModule(kQelGainModule),
                                     temp.folder("modules"));
        ASSERT_GT(registry->scanFolder(temp.folder("modules")), 0);
        std::string error;
        plugin = EditedPlugin::create(*registry, FUID(kQelGainCid), error);
        ASSERT_NE(plugin, nullptr) << error;
    }
    void TearDown() override
    {
        if (plugin)
            plugin->release();
        registry->close();
        registry->release();
    }

    double plainGain(double normalized) const
    {
        return plugin->getController()->normalizedParamToPlain(kQelGainGainParamId, normalized);
    }

    Quillmark::testing::TempFolder temp;
    FComponentRegistry* registry = nullptr;
    EditedPlugin* plugin = nullptr;
};

} // namespace

TEST_F(EditedPluginTest, TheOwnersReferenceIsTheOnlyOne)
{
    // The plug-in keeps its component handler until it terminates; were that this object, its
    // owner's release would never end it.
    EXPECT_EQ(plugin->addRef(), 2u);
    EXPECT_EQ(plugin->release(), 1u);
}

TEST_F(EditedPluginTest, AnEditOfTheGenericEditorReachesTheProcessorAtTheNextBlock)
{
    GenericEditor* editor = plugin->getEditor();
    ASSERT_NE(editor, nullptr);
    ASSERT_EQ(editor->getParamCount(), 1) << "bypass has no place on the editor";
    ParamValueProxy* gain = editor->getProxy(0);
    ASSERT_NE(gain, nullptr);
    EXPECT_EQ(gain->getParamId(), kQelGainGainParamId);

    const double before = storedGainDb(plugin->componentState());
    gain->beginEdit();
    gain->setNormalized(0.25);
    gain->endEdit();
    // The controller has the value at once; the processor only once a block ran.
    EXPECT_FLOAT_EQ(float(plugin->getController()->getParamNormalized(kQelGainGainParamId)), 0.25f);
    EXPECT_DOUBLE_EQ(storedGainDb(plugin->componentState()), before);
    ASSERT_TRUE(plugin->processBlock());
    EXPECT_NEAR(storedGainDb(plugin->componentState()), plainGain(0.25), 1e-4);
    EXPECT_NE(plainGain(0.25), before);

    // The handler heard the edit as the host's own handler would.
    const std::vector<std::string>& log = plugin->getEditLog();
    ASSERT_FALSE(log.empty());
    EXPECT_NE(std::find(log.begin(), log.end(), "perform 0 0.25"), log.end());
}

TEST_F(EditedPluginTest, APresetSavedLoadsBackAndABadFileChangesNothing)
{
    ParamValueProxy* gain = plugin->getEditor()->getProxy(0);
    gain->setNormalized(0.75);
    ASSERT_TRUE(plugin->processBlock());
    const std::string path = temp.folder("presets") + "/loud.qelpreset";
    std::string error;
    ASSERT_TRUE(plugin->savePreset(path, error)) << error;
    ASSERT_TRUE(platform::fileInfo(path).isFile);

    gain->setNormalized(0.1);
    ASSERT_TRUE(plugin->processBlock());
    EXPECT_NEAR(storedGainDb(plugin->componentState()), plainGain(0.1), 1e-4);

    ASSERT_TRUE(plugin->loadPreset(path, error)) << error;
    EXPECT_NEAR(storedGainDb(plugin->componentState()), plainGain(0.75), 1e-4);
    // The editor shows what the controller took from the file.
    EXPECT_NEAR(gain->getNormalized(), 0.75, 1e-6);

    // Bytes that are no preset, a cut file and a missing file each give a reason and leave
    // the plug-in as it was.
    const std::string state = plugin->componentState();
    const std::string junk = temp.folder("presets") + "/junk.qelpreset";
    Quillmark::testing::writeFile(junk, "this is not a preset");
    EXPECT_FALSE(plugin->loadPreset(junk, error));
    EXPECT_NE(error.find("not a preset file"), std::string::npos) << error;
    const std::string whole = Quillmark::testing::readFile(path);
    const std::string cut = temp.folder("presets") + "/cut.qelpreset";
    Quillmark::testing::writeFile(cut, whole.substr(0, whole.size() / 2));
    error.clear();
    EXPECT_FALSE(plugin->loadPreset(cut, error));
    EXPECT_FALSE(error.empty());
    EXPECT_FALSE(plugin->loadPreset(temp.folder("presets") + "/missing.qelpreset", error));
    EXPECT_NE(error.find("cannot be read"), std::string::npos) << error;
    EXPECT_EQ(plugin->componentState(), state);
}

TEST_F(EditedPluginTest, APresetOfAnotherClassIsRefused)
{
    const std::string path = temp.folder("presets") + "/gain.qelpreset";
    std::string error;
    ASSERT_TRUE(plugin->savePreset(path, error)) << error;
    std::string bytes = Quillmark::testing::readFile(path);
    // The class identifier follows the four header bytes and the version as 32 hex digits.
    ASSERT_GT(bytes.size(), 40u);
    const size_t at = bytes.find(FUID(kQelGainCid).toString().substr(0, 8));
    ASSERT_NE(at, std::string::npos);
    bytes[at] = bytes[at] == 'A' ? 'B' : 'A';
    Quillmark::testing::writeFile(path, bytes);
    const std::string state = plugin->componentState();
    EXPECT_FALSE(plugin->loadPreset(path, error));
    EXPECT_NE(error.find("not by Qel Gain"), std::string::npos) << error;
    EXPECT_EQ(plugin->componentState(), state);
}

TEST_F(EditedPluginTest, ARestartWithNewValuesRefreshesTheEditor)
{
    // A plug-in that changed its values by itself says so through restartComponent: the
    // editor reads the controller's values again, and not before.
    GenericEditor* editor = plugin->getEditor();
    plugin->getController()->setParamNormalized(kQelGainGainParamId, 0.3);
    EXPECT_GT(std::abs(editor->getProxy(0)->getNormalized() - 0.3), 1e-3);
    EXPECT_EQ(plugin->restartComponent(Qel::kParamValuesChanged), kResultOk);
    EXPECT_NEAR(editor->getProxy(0)->getNormalized(), 0.3, 1e-6);
}
