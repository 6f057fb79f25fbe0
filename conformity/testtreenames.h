// The names of the conformity tree's top groups, spelled once for everything that builds the
// tree, walks it or names a path into it.
#pragma once

#include "qel3/ipluginfactory.h"

namespace Quillmark::TestTree
{

/** Every class's tests on one instance, made before the first test and taken down after. */
inline constexpr const char8* kGlobalInstance = "Global Instance";
/** Every class's tests, each on a fresh instance. */
inline constexpr const char8* kLocalInstances = "Local Instances";

/** The two top groups of the classes, in tree order, with the kind of their providers. */
struct ProviderKind
{
    const char8* name;
    bool global;
};
inline constexpr ProviderKind kProviderKinds[] = {{kGlobalInstance, true},
                                                  {kLocalInstances, false}};

/** The category of the classes that contribute tests of their own: each gets a group below
    the root, named after the class. */
inline constexpr const char8* kTestClassCategory = kTestClass;

} // namespace Quillmark::TestTree
