#include "conformity/state/qelbusinvalidindextest.h"

#include "base/fstring.h"
#include "conformity/testrandom.h"

#include <cstring>

namespace Quillmark
{
namespace Qel
{

namespace
{
constexpr int64 kQueriesPerBus = 20;
}

QelBusInvalidIndexTest::QelBusInvalidIndexTest(IPlugProvider* provider) : QelTestBase(provider) {}

bool QelBusInvalidIndexTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);
    int32 written = 0;
    for (MediaType type : {kAudio, kEvent})
    {
        // One bound for both directions: the busses of the media type together.
        const int32 outputs = plug->getBusCount(type, kOutput);
        const int32 inputs = plug->getBusCount(type, kInput);
        const int64 total = int64(outputs) + inputs;
        for (BusDirection direction : {kInput, kOutput})
            written += countWritten(type, direction, total);
    }
    if (written > 0)
    {
        result->addErrorMessage(
            String::format("The component returned %i busses queried with an invalid index!",
                           written)
                .toUtf8()
                .c_str());
        return false;
    }
    return true;
}

int32 QelBusInvalidIndexTest::countWritten(MediaType type, BusDirection direction, int64 total)
{
    BusInfo untouched;
    BusInfo answered;
    std::memset(&untouched, 0, sizeof untouched);
    // Zeroed once only: whatever a query leaves stays, so one write shows in every later pass.
    std::memset(&answered, 0, sizeof answered);
    int32 written = 0;
    const int64 passes = total * kQueriesPerBus + 1;
    for (int64 pass = 0; pass < passes; ++pass)
    {
        const int32 index = testRandom();
        // An index equal to the bound is not tried.
        if (index < 0 || index > total)
        {
            plug->getBusInfo(type, direction, index, answered);
            if (std::memcmp(&untouched, &answered, sizeof answered) != 0)
                ++written;
        }
    }
    return written;
}

} // namespace Qel
} // namespace Quillmark
