// A tree of named values in the order they were set: integers, floating point numbers, texts,
// nested lists, objects, binary blocks and typed lists, with an XML form. The tree holds one
// reference to every value object it stores; getters hand out borrowed pointers.
#pragma once

#include "base/fattrvalues.h"
#include "qel3/ibstream.h"

#include <string>
#include <vector>

namespace Quillmark
{

enum class FAttrType : int32
{
    kNone,
    kInt,
    kFloat,
    kString,
    kList,      // FAttrList
    kObject,    // FXmlObject
    kReference, // FXmlReference
    kBuffer,    // FAttrBuffer
    kIntList,
    kFloatList,
    kStringList,
    kObjectList,
    kSubList,
};

class FAttributes : public CmObject
{
public:
    FAttributes() = default;
    ~FAttributes() override;
    FAttributes(const FAttributes&) = delete;
    FAttributes& operator=(const FAttributes&) = delete;

    int32 count() const { return int32(entries.size()); }
    /** The name of the entry at `index`, or null. */
    const char8* nameAt(int32 index) const;
    FAttrType typeAt(int32 index) const;
    int32 indexOf(const char8* name) const;
    FAttrType getType(const char8* name) const;
    bool contains(const char8* name) const { return indexOf(name) >= 0; }
    bool remove(const char8* name);
    void clear();

    // A set replaces an entry of the same name in its place, whatever its kind was, and
    // otherwise appends. A get answers only for an entry of its own kind.
    void setInt(const char8* name, int64 value);
    bool getInt(const char8* name, int64& value) const;
    /** Adds an integer behind the others even when the name is taken: a name may stand once
        per value of a repeated attribute. Lookups by name find the first. */
    void appendInt(const char8* name, int64 value);
    /** The integer of entry `index`; false when that entry holds no integer. */
    bool getIntAt(int32 index, int64& value) const;
    void setFloat(const char8* name, double value);
    /** Also reads an integer entry. */
    bool getFloat(const char8* name, double& value) const;
    /** Keeps the width of `value`. */
    void setString(const char8* name, const ConstString& value);
    bool getString(const char8* name, String& value) const;
    /** Stores `list` with a reference of its own, or a new empty list; returns it. A list
        never contains itself. */
    FAttrList* setList(const char8* name, FAttrList* list = nullptr);
    FAttrList* getList(const char8* name) const;
    FAttrBuffer* setBuffer(const char8* name, const void* data, int64 size);
    FAttrBuffer* getBuffer(const char8* name) const;
    void setObject(const char8* name, FXmlObject* object);
    FXmlObject* getObject(const char8* name) const;
    FXmlReference* setReference(const char8* name, uint64 id);
    FXmlReference* getReference(const char8* name) const;
    FIntList* setIntList(const char8* name, FIntList* list = nullptr);
    FIntList* getIntList(const char8* name) const;
    FFloatList* setFloatList(const char8* name, FFloatList* list = nullptr);
    FFloatList* getFloatList(const char8* name) const;
    FStringList* setStringList(const char8* name, FStringList* list = nullptr);
    FStringList* getStringList(const char8* name) const;
    FObjectList* setObjectList(const char8* name, FObjectList* list = nullptr);
    FObjectList* getObjectList(const char8* name) const;
    FSubList* setSubList(const char8* name, FSubList* list = nullptr);
    FSubList* getSubList(const char8* name) const;

    /** Replaces the content with a deep copy of `other`; objects other than FXmlInstance are
        shared, not copied. */
    void copyFrom(const FAttributes& other);
    /** Same names, kinds and values in the same order; floating point values by their bits. */
    bool isEqual(const CmObject* other) const override;

    /** The XML form: head line, <rootObjects>, each object entry as a <root> element with its
        <obj> body, every other entry as its own element. */
    bool writeXml(IBStream* stream) const;
    /** Replaces the content with the document in `stream`. On a damaged document it answers
        false with a reason in `error` (line and column included) and keeps every top-level
        entry that was complete before the damage. */
    bool readXml(IBStream* stream, std::string* error = nullptr);
    bool readXml(const void* data, size_t size, std::string* error = nullptr);

    QEL_DECLARE_CLASS(FAttributes, CmObject)

private:
    struct Entry
    {
        std::string name;
        FAttrType type = FAttrType::kNone;
        int64 intValue = 0;
        double floatValue = 0;
        String text;
        FObject* object = nullptr; // one reference, for every kind that is an object
    };

    Entry& setEntry(const char8* name, FAttrType type);
    const Entry* find(const char8* name, FAttrType type) const;
    FObject* setObjectEntry(const char8* name, FAttrType type, FObject* object);

    std::vector<Entry> entries;

    friend struct FAttrXmlWriter;
};

/** A nested attribute list: the value of a <member> element and the items of an FSubList. */
class FAttrList : public FAttributes
{
public:
    QEL_DECLARE_CLASS(FAttrList, FAttributes)
};

} // namespace Quillmark
