// The attributes of a medium (a preset file, a sound) kept in the framework's attribute tree:
// each value named by a text id, with a type, flags, and a value that is a text, a number, an
// integer or a nested attribute tree. The owner of a medium owns its PAttributes; a stored
// object value is held by reference.
#pragma once

#include "base/fattributes.h"
#include "presets/mediaattributes.h"

#include <string>
#include <vector>

namespace Quillmark
{
namespace QmMedia
{

/** One named value. Persisted as a small tree: "Type", "Flags" and the value under "String",
    "Float", "Object" or "Long" as its type says. */
class PStringIDMediaAttribute : public CmObject
{
public:
    /** The persisted type codes. */
    enum Type : int32
    {
        kString = 0,
        kFloat = 1,
        kObject = 2,
        kLong = 3,
    };

    explicit PStringIDMediaAttribute(std::string id = {});
    ~PStringIDMediaAttribute() override;
    PStringIDMediaAttribute(const PStringIDMediaAttribute&) = delete;
    PStringIDMediaAttribute& operator=(const PStringIDMediaAttribute&) = delete;

    const std::string& getID() const { return id; }
    Type getType() const { return type; }
    int32 getFlags() const { return flags; }
    void setFlags(int32 newFlags) { flags = newFlags; }

    void setString(const ConstString& value);
    void setFloat(double value);
    void setLong(int64 value);
    /** Keeps a reference of its own; null stores an empty tree. */
    void setObject(FAttributes* value);

    /** The value as the getter's kind; false when the attribute holds another kind. */
    bool getString(String& value) const;
    bool getFloat(double& value) const;
    bool getLong(int64& value) const;
    /** Borrowed; null unless the attribute holds an object. */
    FAttributes* getObject() const { return type == kObject ? object : nullptr; }

    /** Writes "Type", "Flags" and the value into `into`. */
    void store(FAttributes& into) const;
    /** Reads what store wrote; false, leaving the attribute as it was, when the type is not
        one of the four or the value for it is missing. */
    bool load(const FAttributes& from);

    QEL_DECLARE_CLASS(PStringIDMediaAttribute, CmObject)

private:
    void dropObject();

    std::string id;
    Type type = kString;
    int32 flags = 0;
    String text;
    double number = 0;
    int64 integer = 0;
    FAttributes* object = nullptr;
};

/** The attributes of one medium in the order they were set. Persisted as one nested list per
    attribute, named by its id. */
class PAttributes : public CmObject
{
public:
    PAttributes() = default;
    ~PAttributes() override;
    PAttributes(const PAttributes&) = delete;
    PAttributes& operator=(const PAttributes&) = delete;

    int32 count() const { return int32(attributes.size()); }
    /** Borrowed; null outside the range. */
    PStringIDMediaAttribute* at(int32 index) const;
    /** Borrowed; null when there is none of that id. */
    PStringIDMediaAttribute* find(const std::string& id) const;
    /** The attribute of that id, made (at the end) when missing. Borrowed. */
    PStringIDMediaAttribute* set(const std::string& id);
    bool remove(const std::string& id);
    void clear();

    void store(FAttributes& into) const;
    /** Replaces the content with what `from` holds. Entries that are not attribute trees, or
        whose type or value is damaged, are skipped; the answer is false when any was. */
    bool load(const FAttributes& from);

    /** The meta information of a preset file as media attributes, and back. Object values have
        no place in the meta information and are left out on the way back. */
    void fromMediaAttributeList(const Qel::MediaAttributeList& list);
    void toMediaAttributeList(Qel::MediaAttributeList& list) const;

    QEL_DECLARE_CLASS(PAttributes, CmObject)

private:
    std::vector<PStringIDMediaAttribute*> attributes; // one reference each
};

} // namespace QmMedia
} // namespace Quillmark
