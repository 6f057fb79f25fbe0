// UMenuValue: the choice of one item (an entry without children, counted depth-first) of a
// menu tree, such as the sample rates of a driver. The value owns the root UMenuEntry; every
// entry owns its children.
#pragma once

#include "base/values/uvalue.h"

#include <vector>

namespace Quillmark
{

class UMenuEntry : public CmObject
{
    QEL_DECLARE_CLASS(UMenuEntry, CmObject)
public:
    explicit UMenuEntry(const ConstString& title = ConstString(), int32 tag = 0);
    ~UMenuEntry() override;
    UMenuEntry(const UMenuEntry&) = delete;
    UMenuEntry& operator=(const UMenuEntry&) = delete;

    const String& getTitle() const { return title; }
    void setTitle(const ConstString& newTitle) { title = String(newTitle); }
    /** A number the owner attaches, e.g. a sample rate or a class index. */
    int32 getTag() const { return tag; }
    bool isEnabled() const { return enabled; }
    void setEnabled(bool state) { enabled = state; }

    /** Adds a child and returns it (borrowed); an entry with children is a submenu. */
    UMenuEntry* addEntry(const ConstString& childTitle, int32 childTag = 0);
    int32 countEntries() const { return int32(children.size()); }
    /** The child at `index` (borrowed), or null. */
    UMenuEntry* entryAt(int32 index) const;
    void removeAll();

    /** The selectable entries of this subtree in depth-first order (borrowed). */
    void collectItems(std::vector<UMenuEntry*>& items) const;

private:
    String title;
    int32 tag;
    bool enabled = true;
    std::vector<UMenuEntry*> children;
};

class UMenuValue : public UValue
{
    QEL_DECLARE_CLASS(UMenuValue, UValue)
public:
    explicit UMenuValue(const ConstString& name = ConstString(), int32 tag = 0);
    ~UMenuValue() override;

    /** The root of the tree (borrowed). After changing the tree through it, call
        entriesChanged. */
    UMenuEntry* getRoot() const { return root; }
    /** Adds an item to the root and returns it (borrowed). */
    UMenuEntry* addEntry(const ConstString& title, int32 entryTag = 0);
    void removeAll();
    /** Keeps the index within the items and announces kStateChanged; a clipped index also
        announces kChanged. */
    void entriesChanged();

    int32 countItems() const;
    /** The selectable item at `index` (borrowed), or null. */
    UMenuEntry* getItem(int32 index) const;
    /** The index of the first item with this tag, or -1. */
    int32 indexOfTag(int32 entryTag) const;
    /** The chosen item (borrowed), or null when the menu has none. */
    UMenuEntry* getSelectedItem() const { return getItem(index); }

    int32 getIndex() const { return index; }
    /** Clips to the items; choosing a disabled item is refused. True when the index changed. */
    bool setIndex(int32 newIndex, bool notify = true);

    double getNormalized() const override;
    tresult setNormalized(double normalized) override;
    int32 getStepCount() const override;
    int32 getInt() const override { return index; }
    tresult setInt(int32 newIndex) override;
    double getFloat() const override { return index; }
    tresult setFloat(double newIndex) override;
    /** The title of the chosen item. */
    void getText(String& text) const override;
    /** Chooses the first item with exactly this title. */
    tresult setText(const ConstString& text) override;
    double getMax() const override { return lastIndex(); }

private:
    int32 lastIndex() const;
    /** The outcome of a request for an index: refused, or accepted (changed or not). */
    bool choose(int32 newIndex, bool notify);

    UMenuEntry* root;
    int32 index = 0;
};

} // namespace Quillmark
