// A message between host objects: a name and named attributes, among them counted object
// references. Sent at once through CmObject::notify, or posted to the main loop. Reference
// counted; whoever posts or stores one holds a reference.
#pragma once

#include "base/fobject.h"
#include "base/fstring.h"

#include <string>
#include <variant>
#include <vector>

namespace Quillmark
{

class FMessage : public CmObject
{
    QEL_DECLARE_CLASS(FMessage, CmObject)
public:
    explicit FMessage(const char8* name);
    ~FMessage() override;

    const String& getName() const { return name; }
    /** True when the message has this name. */
    bool is(const char8* messageName) const;

    void setInt(const char8* key, int64 value);
    bool getInt(const char8* key, int64& value) const;
    void setFloat(const char8* key, double value);
    bool getFloat(const char8* key, double& value) const;
    void setString(const char8* key, const ConstString& value);
    bool getString(const char8* key, String& value) const;
    /** Stores `object` with a reference of its own; null removes the attribute. */
    void setObject(const char8* key, FUnknown* object);
    /** The stored object, borrowed, or null. */
    FUnknown* getObject(const char8* key) const;
    bool remove(const char8* key);

private:
    struct ObjectRef
    {
        FUnknown* object;
    };
    using Value = std::variant<int64, double, String, ObjectRef>;
    struct Entry
    {
        std::string key;
        Value value;
    };

    Entry* find(const char8* key);
    const Entry* find(const char8* key) const;
    void set(const char8* key, Value value);

    String name;
    std::vector<Entry> entries;
};

} // namespace Quillmark
