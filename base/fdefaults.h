// The preference store: FDefaultPool owns groups of settings and keeps them in one file, saved
// atomically with the previous good file as an alternate copy; FDefaults is one group (name,
// version, values by key), owned by its pool.
#pragma once

#include "base/fattributes.h"
#include "base/fuid.h"

#include <string>
#include <type_traits>
#include <vector>

namespace Quillmark
{

class FDefaultPool;

class FDefaults : public CmObject
{
public:
    FDefaults(const ConstString& name, int32 version, FDefaultPool* pool = nullptr);
    ~FDefaults() override;
    FDefaults(const FDefaults&) = delete;
    FDefaults& operator=(const FDefaults&) = delete;

    const String& getName() const { return name; }
    int32 getVersion() const { return version; }

    bool contains(const char8* key) const;
    bool getInt(const char8* key, int64& value) const;
    /** The value, or `defaultValue` when there is none. A template so that a call with an
        int64 variable means the form above instead of being ambiguous between the two. */
    template <class T, class = std::enable_if_t<std::is_integral_v<T>>>
    int64 getInt(const char8* key, T defaultValue) const
    {
        int64 value = 0;
        return getInt(key, value) ? value : int64(defaultValue);
    }
    void setInt(const char8* key, int64 value);
    /** Also reads a value stored as an integer. */
    bool getFloat(const char8* key, double& value) const;
    /** Stored as a floating-point attribute, which keeps every bit of a double. */
    void setFloat(const char8* key, double value);
    bool getString(const char8* key, String& value) const;
    void setString(const char8* key, const ConstString& value);
    /** A group of attributes under one key, such as the switches of a filter; the store keeps
        a copy. False, with `value` untouched, when there is none. */
    bool getAttributes(const char8* key, FAttributes& value) const;
    void setAttributes(const char8* key, const FAttributes& value);
    /** Stored as the 32-character text. */
    bool getFUID(const char8* key, FUID& value) const;
    void setFUID(const char8* key, const FUID& value);
    bool remove(const char8* key);
    void clear();

    /** In the order the keys were first set. */
    int32 countValues() const;
    const char8* keyAt(int32 index) const;

    /** The values as they are kept (borrowed). */
    const FAttrList& getValues() const { return *values; }

    QEL_DECLARE_CLASS(FDefaults, CmObject)

private:
    friend class FDefaultPool;
    void markDirty();
    /** Takes the values of a group read from the file; the list gets a reference. */
    void adoptValues(FAttrList* list);

    String name;
    int32 version;
    FAttrList* values;
    FDefaultPool* pool; // the owner, or null once the pool is gone
};

class FDefaultPool : public CmObject
{
public:
    /** `filePath` is the full path of the file, e.g. ".../Defaults". */
    explicit FDefaultPool(const std::string& filePath);
    ~FDefaultPool() override;
    FDefaultPool(const FDefaultPool&) = delete;
    FDefaultPool& operator=(const FDefaultPool&) = delete;

    const std::string& getFilePath() const { return filePath; }
    /** Where the previous good file is kept: the path with ".bak" appended. */
    std::string getAlternatePath() const { return filePath + ".bak"; }

    /** The group of that name (owned by the pool). A group found with another version counts
        as absent: with `create` it is replaced by an empty group of the version asked for. */
    FDefaults* lookup(const char8* group, int32 version = 1, bool create = true);
    bool removeGroup(const char8* group);
    int32 countGroups() const { return int32(groups.size()); }
    FDefaults* groupAt(int32 index) const;

    /** Replaces the groups with those of the file. A missing file gives an empty pool and
        true. A damaged file keeps every group that was complete before the damage, fills in
        groups from the alternate copy, sets `problem` to a one-line reason and answers
        false; the pool stays usable. */
    bool load(std::string* problem = nullptr);
    /** Writes the file atomically; nothing happens while do-not-save is set. The file it
        replaces becomes the alternate copy only when that file was good. */
    bool save(std::string* problem = nullptr);

    void setDoNotSave(bool state) { doNotSave = state; }
    bool isDoNotSave() const { return doNotSave; }
    /** Changed since the last load or save. */
    bool isDirty() const { return dirty; }

    QEL_DECLARE_CLASS(FDefaultPool, CmObject)

private:
    friend class FDefaults;

    /** Appends the groups kept in a document that the pool does not have yet; returns how
        many. */
    int32 takeGroups(const FAttributes& document);
    int32 indexOf(const char8* group) const;
    void releaseGroups();

    std::string filePath;
    std::vector<FDefaults*> groups;
    bool doNotSave = false;
    bool dirty = false;
    /** The file was found damaged by the last load and must not become the alternate. */
    bool fileDamaged = false;
};

} // namespace Quillmark
