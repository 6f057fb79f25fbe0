// "TestSettings.bin" as the tester reads it when the tree opens: the enabled flags of a small
// tree of groups, taken from whatever bytes the file holds.
#include "base/fuzz/fuzztempfile.h"
#include "hosting/ftester.h"

using namespace Quillmark;

namespace
{

/** Root/A/{One,Two}, Root/B/C/Three: enough nesting for names to match at every depth. */
class SmallTree : public FTestInitializer
{
public:
    void initialize(FTester&, FTestNode& root) override
    {
        FTestNode* a = root.findOrAddGroup("A");
        a->findOrAddGroup("One");
        a->findOrAddGroup("Two");
        root.findOrAddGroup("B")->findOrAddGroup("C")->findOrAddGroup("Three");
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string path = fuzzing::writeInput("TestSettings.bin", data, size);
    auto* tester = new FTester;
    tester->addInitializer(std::make_unique<SmallTree>());
    tester->setSettingsPath(path);
    tester->open();
    if (FTestNode* root = tester->getRoot())
        root->countLeaves(true);
    tester->setRememberSettings(false); // writing back syncs the disk on every input
    tester->close();
    tester->removeInitializers();
    tester->release();
    return 0;
}
