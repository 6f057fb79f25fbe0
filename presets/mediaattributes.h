// The descriptive attributes of one medium (a preset file in the browser): named values of
// three kinds, each with flags, in the order they were set. Owned by the medium it describes.
#pragma once

#include "qel3/qeltypes.h"

#include <string>
#include <vector>

namespace Quillmark
{
namespace Qel
{

class MediaAttributeList
{
public:
    enum Flags : int32
    {
        kHidden = 1,
        kWriteProtected = 2,
        kTransient = 8, // never written with the preset
    };

    enum class Kind
    {
        kInt,
        kFloat,
        kString,
    };

    struct Attribute
    {
        std::string id;
        Kind kind = Kind::kString;
        int64 intValue = 0;
        double floatValue = 0;
        std::string text; // UTF-8
        int32 flags = 0;

        /** The value as text, as the meta information writes it. */
        std::string valueText() const;
    };

    // A set replaces an attribute of the same id in its place, otherwise appends.
    void setString(const std::string& id, const std::string& value, int32 flags = 0);
    void setInt(const std::string& id, int64 value, int32 flags = 0);
    void setFloat(const std::string& id, double value, int32 flags = 0);
    bool remove(const std::string& id);
    void clear() { attributes.clear(); }

    const Attribute* find(const std::string& id) const;
    /** The text of a string attribute, or empty. */
    std::string getString(const std::string& id) const;

    int32 count() const { return int32(attributes.size()); }
    const Attribute& at(int32 index) const { return attributes[size_t(index)]; }
    const std::vector<Attribute>& all() const { return attributes; }

private:
    Attribute& set(const std::string& id, Kind kind, int32 flags);

    std::vector<Attribute> attributes;
};

} // namespace Qel
} // namespace Quillmark
