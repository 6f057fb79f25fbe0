#include "conformity/scan/scansupport.h"

namespace Quillmark
{
namespace Qel
{

std::string fieldText(const TChar* field, uint32 capacity)
{
    if (!field)
        return {};
    uint32 length = 0;
    while (length < capacity && field[length] != 0)
        ++length;
    return Unicode::utf16ToUtf8(field, length);
}

bool forEachEventInputChannel(IComponent& plug,
                              const std::function<bool(int32 bus, int16 channel)>& visit)
{
    const int32 busCount = plug.getBusCount(kEvent, kInput);
    for (int32 bus = 0; bus < busCount; ++bus)
    {
        BusInfo info{};
        plug.getBusInfo(kEvent, kInput, bus, info);
        for (int32 channel = 0; channel < info.channelCount; ++channel)
            if (!visit(bus, static_cast<int16>(channel)))
                return false;
    }
    return true;
}

void addMessage(ITestResult* result, const String& text)
{
    result->addMessage(text.toUtf8().c_str());
}

void addError(ITestResult* result, const String& text)
{
    result->addErrorMessage(text.toUtf8().c_str());
}

} // namespace Qel
} // namespace Quillmark
