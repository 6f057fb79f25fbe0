// Checks that a plug-in describes each bus the same way every time it is asked, comparing whole
// records, the bytes behind a name's terminator included. Owned by its test node.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelBusConsistencyTest : public QelTestBase
{
public:
    explicit QelBusConsistencyTest(IPlugProvider* provider);

    const char8* getName() const override { return "Bus Consistency"; }
    bool run(ITestResult* result) override;

private:
    /** The number of random queries over the busses of one kind whose record differed from the
        first one read. */
    int32 countInconsistent(MediaType type, BusDirection direction);
};

} // namespace Qel
} // namespace Quillmark
