// The attribute list of a message or a stream as a plug-in sees it: named values with a type
// word, and a separate section of binary copies. Owned by its message or stream, or by whoever
// created it; it holds one reference to every object value.
#pragma once

#include "base/fobject.h"
#include "base/fstring.h"
#include "qel3/imessage.h"

#include <string>
#include <vector>

namespace Quillmark
{
namespace Qel
{

class QelAttributeList : public CmObject, public IAttributeList
{
    QEL_DECLARE_CLASS(QelAttributeList, CmObject)
public:
    /** The type words of a value. kOwnsContent marks a value that holds its own copy; it is
        not part of the type when types are compared. */
    enum ValueType : int32
    {
        kNoValue = 0,
        kInteger = 1,
        kFloat = 2,
        kString8 = 4,
        kObject = 8,
        kOwnsContent = 16,
        kString16 = 32,
    };

    QelAttributeList() = default;
    ~QelAttributeList() override;
    QelAttributeList(const QelAttributeList&) = delete;
    QelAttributeList& operator=(const QelAttributeList&) = delete;

    // IAttributeList
    tresult setInt(AttrID id, int64 value) override;
    /** A value of another type reads as 0; the result still says whether the name exists. */
    tresult getInt(AttrID id, int64& value) override;
    tresult setFloat(AttrID id, double value) override;
    tresult getFloat(AttrID id, double& value) override;
    tresult setString(AttrID id, const TChar* string) override;
    /** Converts 8- and 16-bit texts; cuts to sizeInBytes / 2 units with the terminator. */
    tresult getString(AttrID id, TChar* string, uint32 sizeInBytes) override;
    tresult setBinary(AttrID id, const void* data, uint32 sizeInBytes) override;
    /** The copy stays valid as long as the list, until the same name is set again. */
    tresult getBinary(AttrID id, const void*& data, uint32& sizeInBytes) override;

    // The host's side.
    /** Stores an 8-bit (UTF-8) text; a null text removes the value. */
    void setString8(AttrID id, const char8* text);
    /** The stored 8-bit text, valid until the value changes; null for any other type. */
    const char8* getString8(AttrID id) const;
    /** Stores `object` with a reference of its own; null removes the value. */
    void setObject(AttrID id, FUnknown* object);
    /** The stored object, borrowed; null for any other type. */
    FUnknown* getObject(AttrID id) const;

    /** The type of a value without kOwnsContent; kNoValue when there is none. Binary copies
        live in their own section and have no type word. */
    int32 getType(AttrID id) const;
    bool hasBinary(AttrID id) const;
    /** Marks a value or binary copy of this name as one that a copy of the list leaves out. */
    bool setTransient(AttrID id, bool state = true);
    bool isTransient(AttrID id) const;
    /** Removes the value and the binary copy of this name. */
    bool remove(AttrID id);
    void clear();
    /** Values and binary copies together. */
    int32 count() const { return int32(values.size() + binaries.size()); }

    /** Replaces the content with a copy of `other`, except for its transient values and its
        objects. */
    void copyFrom(const QelAttributeList& other);

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

private:
    struct Value
    {
        std::string name;
        int32 type = kNoValue;
        int64 intValue = 0;
        double floatValue = 0;
        String text;                // kString8 keeps 8-bit units, kString16 16-bit ones
        FUnknown* object = nullptr; // kObject: one reference
        bool transient = false;
    };
    struct Binary
    {
        std::string name;
        std::vector<uint8> data;
        bool transient = false;
    };

    static int32 baseType(int32 type) { return type & ~kOwnsContent; }
    Value* findValue(AttrID id);
    const Value* findValue(AttrID id) const;
    Binary* findBinary(AttrID id);
    const Binary* findBinary(AttrID id) const;
    /** The value of this name emptied for a new content, appended when missing. */
    Value& setValue(AttrID id, int32 type);
    static void reset(Value& value);

    std::vector<Value> values;
    std::vector<Binary> binaries;
};

} // namespace Qel
} // namespace Quillmark
