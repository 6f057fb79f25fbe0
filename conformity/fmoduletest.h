// Tests that plug-in modules contribute: each class of category "Test Class" is created, asked
// for its test factory and given a group of the tree to fill. The group (FModuleTest) keeps the
// class's object, and so its module, alive for as long as its tests exist.
#pragma once

#include "hosting/ftester.h"

namespace Quillmark
{

class FComponentRegistry;

class FModuleTest : public FTestNode
{
    QEL_DECLARE_CLASS(FModuleTest, FTestNode)
public:
    /** `factoryObject` (may be null) gets a reference of the node's own. */
    FModuleTest(const ConstString& name, FUnknown* factoryObject);
    ~FModuleTest() override;

private:
    FUnknown* factoryObject;
};

class FModuleTestInitializer : public FTestInitializer
{
public:
    /** `registry` is borrowed and must outlive the tree. */
    explicit FModuleTestInitializer(FComponentRegistry& registry) : registry(registry) {}

    void initialize(FTester& tester, FTestNode& root) override;

private:
    FComponentRegistry& registry;
};

} // namespace Quillmark
