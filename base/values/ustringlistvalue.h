// UStringListValue: the index of one entry of a list of texts, for choice lists and lists of
// recent items. The list can be kept in an attribute tree under "Strings", bounded by
// "Max Recent". Owned by reference count, usually by a controller's container.
#pragma once

#include "base/values/uintvalues.h"

#include <vector>

namespace Quillmark
{

class FAttributes;

class UStringListValue : public UIntDefValue
{
    QEL_DECLARE_CLASS(UStringListValue, UIntDefValue)
public:
    static constexpr const char8* kStringsKey = "Strings";
    static constexpr const char8* kMaxRecentKey = "Max Recent";

    explicit UStringListValue(const ConstString& name = ConstString(), int32 tag = 0);

    int32 countStrings() const { return int32(strings.size()); }
    /** The entry at `index`, or an empty text when there is none. */
    String getString(int32 index) const;
    /** The index of the entry with exactly this text, or -1. */
    int32 indexOf(const ConstString& text) const;

    // Each change of the list keeps the range at 0 .. count - 1 (0 .. 0 when empty), clips
    // the index into it and announces kStateChanged; a clipped index also announces kChanged.
    void addString(const ConstString& text);
    bool setString(int32 index, const ConstString& text);
    bool removeString(int32 index);
    void removeAll();

    /** The most entries addRecent keeps; 0 means no bound. */
    int32 getMaxRecent() const { return maxRecent; }
    void setMaxRecent(int32 bound);
    /** Puts `text` first, drops an older equal entry and what lies beyond the bound, and
        selects it. */
    void addRecent(const ConstString& text);

    /** Writes the entries under "Strings" and the bound under "Max Recent". */
    void storeStrings(FAttributes& attributes) const;
    /** Replaces the entries with those stored; false, with nothing changed, when there are
        none. */
    bool restoreStrings(const FAttributes& attributes);

    /** The text of the selected entry. */
    void getText(String& text) const override;
    /** Selects the entry with exactly this text; any other text is refused. */
    tresult setText(const ConstString& text) override;

private:
    void listChanged();
    void trimToBound();

    std::vector<String> strings;
    int32 maxRecent = 0;
};

} // namespace Quillmark
