#include "conformity/fmoduletest.h"

#include "hosting/fcomponentregistry.h"
#include "hosting/fpluginexception.h"
#include "hosting/qelhostcontext.h"
#include "qel3/itestfactory.h"

namespace Quillmark
{

FModuleTest::FModuleTest(const ConstString& name, FUnknown* factoryObject)
    : FTestNode(name), factoryObject(factoryObject)
{
    if (factoryObject)
        factoryObject->addRef();
}

FModuleTest::~FModuleTest()
{
    // The tests are objects of the module: they go before the object that holds the module.
    removeAll();
    if (factoryObject)
        factoryObject->release();
}

void FModuleTestInitializer::initialize(FTester&, FTestNode& root)
{
    std::vector<FComponentDescription*> classes;
    registry.collectCategory(kTestClass, classes);
    for (FComponentDescription* description : classes)
    {
        if (!description || !description->available)
            continue;
        FUnknown* object = registry.createInstance(description->getCid());
        if (!object)
            continue;
        void* answer = nullptr;
        if (object->queryInterface(Qel::ITestFactory::iid.bytes, &answer) == kResultOk && answer)
        {
            auto* factory = static_cast<Qel::ITestFactory*>(answer);
            String name =
                description->getName().isEmpty() ? String("Unknown") : description->getName();
            auto* node = new FModuleTest(name, object);
            PluginCallGuard guard(name, nullptr);
            guard.run("createTests",
                      [&]
                      {
                          factory->createTests(
                              static_cast<Qel::IHostApplication*>(Qel::QelHostContext::instance()),
                              node);
                      });
            factory->release();
            if (node->countChildren() > 0)
                root.addChild(node);
            else
                node->release();
        }
        object->release();
    }
}

} // namespace Quillmark
