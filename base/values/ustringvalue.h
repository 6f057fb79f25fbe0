// UStringValue: a text cell, such as a file name or a preset name shown in a view. Its plain
// value is its text. Owned by reference count, usually by a controller's container.
#pragma once

#include "base/values/uvalue.h"

namespace Quillmark
{

class UStringValue : public UValue
{
    QEL_DECLARE_CLASS(UStringValue, UValue)
public:
    explicit UStringValue(const ConstString& name = ConstString(), int32 tag = 0,
                          const ConstString& text = ConstString());

    const String& getValue() const { return value; }
    /** True when the text changed; texts compare by code points, whatever their width. */
    bool setValue(const ConstString& text, bool notify = true);

    void getText(String& text) const override { text = value; }
    /** Every text is accepted. */
    tresult setText(const ConstString& text) override;

private:
    String value;
};

} // namespace Quillmark
