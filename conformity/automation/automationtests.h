// The tests of one "Automation" group of the conformity tree: every combination of the tested
// parameter counts and change intervals over one class. The tree builder calls it; the group
// owns the tests.
#pragma once

#include "hosting/ftestnode.h"
#include "hosting/iplugprovider.h"

namespace Quillmark
{
namespace Qel
{

/** Adds 12 QelAutomationTest leaves to `group`: for 1, 2, 10 and all parameters, changes every
    100, 50 and 1 samples, in that order. */
void addAutomationTests(FTestNode& group, IPlugProvider* provider, int32 symbolicSampleSize,
                        bool sampleAccuracy);

} // namespace Qel
} // namespace Quillmark
