#include "base/values/ugraphicvalues.h"

#include "base/values/uvaluetext.h"

#include <charconv>

namespace Quillmark
{

// --- UColorValue ----------------------------------------------------------------------------

UColorValue::UColorValue(const ConstString& name, int32 tag, uint32 argb)
    : UValue(name, tag), color(argb)
{
}

bool UColorValue::setColor(uint32 argb, bool notify)
{
    if (argb == color)
        return false;
    color = argb;
    valueChanged(notify);
    return true;
}

tresult UColorValue::setInt(int32 argb)
{
    setColor(uint32(argb));
    return kResultOk;
}

void UColorValue::getText(String& text) const
{
    text.printf("#%08X", color);
}

tresult UColorValue::setText(const ConstString& text)
{
    std::string body = ValueText::trimmed(text);
    if ((body.size() != 7 && body.size() != 9) || body[0] != '#')
        return kResultFalse;
    uint32 parsed = 0;
    const char* end = body.data() + body.size();
    auto [rest, error] = std::from_chars(body.data() + 1, end, parsed, 16);
    // from_chars would take a sign; only hexadecimal digits belong here.
    if (error != std::errc() || rest != end || body[1] == '-' || body[1] == '+')
        return kResultFalse;
    if (body.size() == 7)
        parsed |= 0xFF000000u;
    setColor(parsed);
    return kResultOk;
}

// --- UBitmapValue ---------------------------------------------------------------------------

UBitmapValue::UBitmapValue(const ConstString& name, int32 tag) : UValue(name, tag) {}

UBitmapValue::~UBitmapValue()
{
    if (bitmap)
        bitmap->release();
}

bool UBitmapValue::setBitmap(FUnknown* picture, bool notify)
{
    if (picture == bitmap)
        return false;
    if (picture)
        picture->addRef();
    if (bitmap)
        bitmap->release();
    bitmap = picture;
    valueChanged(notify);
    return true;
}

} // namespace Quillmark
