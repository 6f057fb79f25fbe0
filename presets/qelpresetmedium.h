// Describes one preset file to the host's media browser: its kind, path and class, what the
// registry knows of that class, and the meta information stored in the file. Owned by the
// browser entry that shows the file.
#pragma once

#include "presets/mediaattributes.h"

#include <string>

namespace Quillmark
{

class FComponentRegistry;

namespace Qel
{

class QelPresetMedium
{
public:
    explicit QelPresetMedium(std::string path) : path(std::move(path)) {}

    /** Reads the file afresh into the attributes. `registry` may be null. False when the file
        cannot be opened or is no preset file. */
    bool scan(const FComponentRegistry* registry);

    const std::string& getPath() const { return path; }
    MediaAttributeList& getAttributes() { return attributes; }
    const MediaAttributeList& getAttributes() const { return attributes; }

    /** Writes the attributes into the file's meta information, in place. */
    bool commit(std::string& error) const;

private:
    std::string path;
    MediaAttributeList attributes;
};

} // namespace Qel
} // namespace Quillmark
