#include "conformity/state/qelbusconsistencytest.h"

#include "base/fstring.h"
#include "conformity/testrandom.h"

#include <cstring>
#include <vector>

namespace Quillmark
{
namespace Qel
{

namespace
{
constexpr int64 kQueriesPerBus = 20;
}

QelBusConsistencyTest::QelBusConsistencyTest(IPlugProvider* provider) : QelTestBase(provider) {}

bool QelBusConsistencyTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);
    int32 inconsistent = 0;
    for (MediaType type : {kAudio, kEvent})
        for (BusDirection direction : {kInput, kOutput})
            inconsistent += countInconsistent(type, direction);
    if (inconsistent > 0)
    {
        // The closing bracket is missing in the text that users and scripts know.
        result->addErrorMessage(String::format("The component returned %i inconsistent busses! "
                                               "(getBusInfo () returns sometime different info "
                                               "for the same bus!",
                                               inconsistent)
                                    .toUtf8()
                                    .c_str());
        return false;
    }
    return true;
}

int32 QelBusConsistencyTest::countInconsistent(MediaType type, BusDirection direction)
{
    const int32 count = plug->getBusCount(type, direction);
    if (count <= 0)
        return 0;
    // Results are not looked at: a failing call leaves the zeroed record, and only a record
    // that changes between calls counts.
    std::vector<BusInfo> first(static_cast<size_t>(count));
    for (int32 index = 0; index < count; ++index)
    {
        std::memset(&first[size_t(index)], 0, sizeof(BusInfo));
        plug->getBusInfo(type, direction, index, first[size_t(index)]);
    }
    int32 inconsistent = 0;
    const int64 queries = int64(count) * kQueriesPerBus + 1;
    for (int64 query = 0; query < queries; ++query)
    {
        const int32 index = testRandom() % count;
        BusInfo again;
        std::memset(&again, 0, sizeof again);
        plug->getBusInfo(type, direction, index, again);
        if (std::memcmp(&again, &first[size_t(index)], sizeof again) != 0)
            ++inconsistent;
    }
    return inconsistent;
}

} // namespace Qel
} // namespace Quillmark
