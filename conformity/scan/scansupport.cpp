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
