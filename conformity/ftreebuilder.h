// Builds the conformity tree: the groups "Global Instance" and "Local Instances", below each one
// group per class of "Audio Module Class" with its provider, and below the provider the two
// categories with their test groups. Registered with the tester as an initializer.
#pragma once

#include "hosting/ftester.h"

#include <string>
#include <vector>

namespace Quillmark
{

class FComponentRegistry;
class FComponentDescription;

namespace Qel
{
class PlugProvider;
}

class FTreeBuilder : public FTestInitializer
{
public:
    /** Fills `group` with tests over the class that `provider` serves. */
    using GroupFiller = void (*)(FTestNode& group, Qel::PlugProvider& provider);

    /** A test group below a provider: "category/group[/group...]" and what fills it. The groups
        along the path are shared; the last one is always new, so a second "Automation" in the
        same place becomes "Automation 2". */
    struct TestGroup
    {
        std::string path;
        GroupFiller fill = nullptr;
    };

    /** `registry` is borrowed and must outlive the tree. */
    explicit FTreeBuilder(FComponentRegistry& registry);
    /** With exactly `groups` below every provider instead of the finished tree's. */
    FTreeBuilder(FComponentRegistry& registry, std::vector<TestGroup> groups);

    /** Only classes whose name or identifier text equals `nameOrCid`; empty for all. */
    void setClassFilter(const std::string& nameOrCid) { classFilter = nameOrCid; }
    /** Adds a test group to every provider, after those added before. */
    void addTestGroup(TestGroup group) { groups.push_back(std::move(group)); }
    const std::vector<TestGroup>& getTestGroups() const { return groups; }

    /** The test groups of the finished tree, in tree order. */
    static std::vector<TestGroup> defaultTestGroups();

    void initialize(FTester& tester, FTestNode& root) override;

    /** The two categories below every provider. */
    static constexpr const char8* kCategories[] = {"QEL3 Conformity", "Special Features"};

private:
    bool accepts(const FComponentDescription& description) const;
    void buildProvider(Qel::PlugProvider& provider) const;

    FComponentRegistry& registry;
    std::string classFilter;
    std::vector<TestGroup> groups;
};

} // namespace Quillmark
