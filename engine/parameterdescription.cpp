#include "engine/parameterdescription.h"

#include "base/fstring.h"

#include <cstdio>

namespace Quillmark::MiniEngine
{

namespace
{
std::string utf8Of(const Qel::String128& text)
{
    uint32 length = 0;
    while (length < 128 && text[length])
        ++length;
    return Unicode::utf16ToUtf8(text, length);
}

std::string printed(const char8* format, auto... arguments)
{
    char8 buffer[512];
    std::snprintf(buffer, sizeof buffer, format, arguments...);
    return buffer;
}
} // namespace

std::vector<std::string> describeParameterPieces(int32 index, const Qel::ParameterInfo& info)
{
    using Info = Qel::ParameterInfo;
    std::vector<std::string> pieces;
    pieces.push_back(printed("ParameterInfo[%d]: [id: %d], [unitId: %d]", index, int32(info.id),
                             int32(info.unitId)));
    pieces.push_back(printed("[title: \"%s\"], [shortTitle: \"%s\"], [units: \"%s\"]",
                             utf8Of(info.title).c_str(), utf8Of(info.shortTitle).c_str(),
                             utf8Of(info.units).c_str()));
    pieces.push_back(printed("[stepCount: %d], [defaultNormalizedValue: %f", info.stepCount,
                             info.defaultNormalizedValue));
    std::string text = "[flags: ";
    const std::pair<int32, const char8*> flags[] = {
        {Info::kCanAutomate, "kCanAutomate"},         {Info::kIsReadOnly, "kIsReadOnly"},
        {Info::kIsWrapAround, "kIsWrapAround"},       {Info::kIsList, "kIsList"},
        {Info::kIsProgramChange, "kIsProgramChange"}, {Info::kIsBypass, "kIsBypass"}};
    bool first = true;
    for (const auto& [bit, name] : flags)
        if (info.flags & bit)
        {
            if (!first)
                text += " ";
            text += name;
            first = false;
        }
    text += ")...";
    pieces.push_back(text);
    return pieces;
}

std::string describeParameter(int32 index, const Qel::ParameterInfo& info)
{
    std::string text;
    for (const std::string& piece : describeParameterPieces(index, info))
        text += (text.empty() ? "" : ", ") + piece;
    return text;
}

} // namespace Quillmark::MiniEngine
