// Checks that a plug-in leaves a bus record untouched when asked for a bus index that it does not
// have. Owned by its test node.
#pragma once

#include "conformity/qeltestbase.h"

namespace Quillmark
{
namespace Qel
{

class QelBusInvalidIndexTest : public QelTestBase
{
public:
    explicit QelBusInvalidIndexTest(IPlugProvider* provider);

    const char8* getName() const override { return "Bus Invalid Index"; }
    bool run(ITestResult* result) override;

private:
    /** The number of queries of one direction with an index above `total` after which the
        record no longer was all zero. */
    int32 countWritten(MediaType type, BusDirection direction, int64 total);
};

} // namespace Qel
} // namespace Quillmark
