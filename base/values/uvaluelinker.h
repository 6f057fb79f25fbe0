// UValueLinker keeps a set of values in step: when one of them changes, the others take its
// value. It holds a reference to each value and is the dependent of each; whoever creates it
// owns it by reference count.
#pragma once

#include "base/values/uvalue.h"

#include <vector>

namespace Quillmark
{

class UValueLinker : public CmObject
{
    QEL_DECLARE_CLASS(UValueLinker, CmObject)
public:
    enum class Mode
    {
        /** Texts for a UStringValue, doubles for a UFloatValue, integers for the rest, the
            same split as the preference store uses. */
        kPlain,
        /** The position in 0..1, for values of different ranges. */
        kNormalized,
    };

    explicit UValueLinker(Mode mode = Mode::kPlain);
    ~UValueLinker() override;
    UValueLinker(const UValueLinker&) = delete;
    UValueLinker& operator=(const UValueLinker&) = delete;

    /** Adds `value` with a reference of its own; it takes over the value of the first linked
        value at once. Refused for null and for a value already linked. */
    bool addValue(UValue* value);
    bool removeValue(UValue* value);
    void removeAll();
    int32 countValues() const { return int32(values.size()); }
    UValue* valueAt(int32 index) const;

    using CmObject::update;
    void update(FObject* sender, int32 message) override;

private:
    /** Gives `target` the value of `source` in the linker's mode. */
    void copyValue(UValue* source, UValue* target) const;
    void forget(size_t index, bool releaseValue);

    Mode mode;
    std::vector<UValue*> values;
    /** Set while the linker itself sets values, so their changes do not come back around. */
    bool propagating = false;
};

} // namespace Quillmark
