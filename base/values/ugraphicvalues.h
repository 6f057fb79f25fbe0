// The values a view draws with: UColorValue (an ARGB colour) and UBitmapValue (a holder of a
// picture object of the UI toolkit, which the host itself never looks into). Owned by
// reference count, usually by a controller's container.
#pragma once

#include "base/values/uvalue.h"

namespace Quillmark
{

/** A colour as 0xAARRGGBB; its integer form is the same 32 bits. */
class UColorValue : public UValue
{
    QEL_DECLARE_CLASS(UColorValue, UValue)
public:
    explicit UColorValue(const ConstString& name = ConstString(), int32 tag = 0,
                         uint32 argb = 0xFF000000u);

    uint32 getColor() const { return color; }
    /** True when the colour changed. */
    bool setColor(uint32 argb, bool notify = true);
    uint8 getAlpha() const { return uint8(color >> 24); }
    uint8 getRed() const { return uint8(color >> 16); }
    uint8 getGreen() const { return uint8(color >> 8); }
    uint8 getBlue() const { return uint8(color); }

    int32 getInt() const override { return int32(color); }
    tresult setInt(int32 argb) override;
    /** "#AARRGGBB" in capitals. */
    void getText(String& text) const override;
    /** Takes "#RRGGBB" (opaque) or "#AARRGGBB", in either case. */
    tresult setText(const ConstString& text) override;

private:
    uint32 color;
};

/** A picture held for a view; the value holds one reference to it. */
class UBitmapValue : public UValue
{
    QEL_DECLARE_CLASS(UBitmapValue, UValue)
public:
    explicit UBitmapValue(const ConstString& name = ConstString(), int32 tag = 0);
    ~UBitmapValue() override;

    /** The picture (borrowed), or null. */
    FUnknown* getBitmap() const { return bitmap; }
    /** Holds its own reference to `picture`; null lets go. True when the picture changed. */
    bool setBitmap(FUnknown* picture, bool notify = true);

private:
    FUnknown* bitmap = nullptr;
};

} // namespace Quillmark
