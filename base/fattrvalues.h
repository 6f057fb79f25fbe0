// The value kinds of an attribute tree besides numbers and texts: a binary block, typed lists,
// and objects (stored in place, a generic instance as read from XML, or a reference by
// number). Each is reference counted; the tree holds one reference to each value it stores.
#pragma once

#include "base/fobject.h"
#include "base/fstring.h"

#include <vector>

namespace Quillmark
{

class FAttributes;
class FAttrList;

/** A block of bytes. */
class FAttrBuffer : public CmObject
{
public:
    FAttrBuffer() = default;
    FAttrBuffer(const void* data, int64 size);

    const uint8* data() const { return bytes.data(); }
    int64 size() const { return int64(bytes.size()); }
    void assign(const void* data, int64 size);
    std::vector<uint8>& getBytes() { return bytes; }
    const std::vector<uint8>& getBytes() const { return bytes; }

    bool isEqual(const CmObject* other) const override;

    QEL_DECLARE_CLASS(FAttrBuffer, CmObject)

private:
    std::vector<uint8> bytes;
};

/** The common body of the plain value lists. */
template <class T> class FValueList : public CmObject
{
public:
    void add(const T& value) { items.push_back(value); }
    int32 count() const { return int32(items.size()); }
    /** The item at `index`; a default value when out of range. */
    T at(int32 index) const { return index >= 0 && index < count() ? items[size_t(index)] : T(); }
    void clear() { items.clear(); }
    std::vector<T>& values() { return items; }
    const std::vector<T>& values() const { return items; }

protected:
    std::vector<T> items;
};

class FIntList : public FValueList<int64>
{
public:
    bool isEqual(const CmObject* other) const override;
    QEL_DECLARE_CLASS(FIntList, CmObject)
};

class FFloatList : public FValueList<double>
{
public:
    /** Items compare by their bits, so -0.0 differs from 0.0 and a NaN equals itself. */
    bool isEqual(const CmObject* other) const override;
    QEL_DECLARE_CLASS(FFloatList, CmObject)
};

/** Texts of either width; each keeps its width through the XML form. */
class FStringList : public FValueList<String>
{
public:
    bool isEqual(const CmObject* other) const override;
    QEL_DECLARE_CLASS(FStringList, CmObject)
};

/** References to objects of the same document by their numbers. */
class FObjectList : public FValueList<uint64>
{
public:
    bool isEqual(const CmObject* other) const override;
    QEL_DECLARE_CLASS(FObjectList, CmObject)
};

/** A list of nested attribute lists; holds one reference to each. */
class FSubList : public CmObject
{
public:
    FSubList() = default;
    ~FSubList() override;
    FSubList(const FSubList&) = delete;
    FSubList& operator=(const FSubList&) = delete;

    /** Stores `list` with a reference of its own, or a new empty list; returns it (borrowed). */
    FAttrList* add(FAttrList* list = nullptr);
    int32 count() const { return int32(items.size()); }
    /** Borrowed, or null. */
    FAttrList* at(int32 index) const;
    void clear();

    bool isEqual(const CmObject* other) const override;
    QEL_DECLARE_CLASS(FSubList, CmObject)

private:
    std::vector<FAttrList*> items;
};

/** An object that keeps itself in an attribute tree under its class name and a number. A
    number of 0 lets the writer choose one. */
class FXmlObject : public CmObject
{
public:
    /** The text of the class attribute. */
    virtual const char8* getXmlClass() const { return isTypeName(); }
    /** Fills `attributes` with the object's state. */
    virtual bool storeXml(FAttributes& attributes) const = 0;
    /** Takes the object's state from `attributes`. */
    virtual bool restoreXml(const FAttributes& attributes) = 0;

    uint64 getXmlID() const { return xmlID; }
    void setXmlID(uint64 id) { xmlID = id; }

    QEL_DECLARE_CLASS(FXmlObject, CmObject)

private:
    uint64 xmlID = 0;
};

/** An object as it stands in a document: its class name, number and attributes. The reader
    makes one for every object; createObject turns it into a live object of that class. */
class FXmlInstance : public FXmlObject
{
public:
    explicit FXmlInstance(const ConstString& className = ConstString(), uint64 id = 0);
    ~FXmlInstance() override;
    FXmlInstance(const FXmlInstance&) = delete;
    FXmlInstance& operator=(const FXmlInstance&) = delete;

    const char8* getXmlClass() const override { return className.c_str(); }
    void setXmlClass(const ConstString& name) { className = name.toUtf8(); }
    /** The object's attributes, owned by the instance. */
    FAttrList& getAttributes() const { return *attributes; }

    bool storeXml(FAttributes& out) const override;
    bool restoreXml(const FAttributes& in) override;
    /** A new object of the registered class with this state restored, or null when the class
        is unknown or not an FXmlObject. The caller owns the reference. */
    FXmlObject* createObject() const;

    bool isEqual(const CmObject* other) const override;
    QEL_DECLARE_CLASS(FXmlInstance, FXmlObject)

private:
    std::string className;
    FAttrList* attributes;
};

/** A reference by number to an object elsewhere in the same document. */
class FXmlReference : public CmObject
{
public:
    explicit FXmlReference(uint64 id = 0) : id(id) {}
    uint64 getID() const { return id; }
    void setID(uint64 value) { id = value; }

    bool isEqual(const CmObject* other) const override;
    QEL_DECLARE_CLASS(FXmlReference, CmObject)

private:
    uint64 id;
};

} // namespace Quillmark
