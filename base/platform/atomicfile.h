// Replacing a file so that a crash at any moment leaves either the old or the new content,
// never a mixture: the bytes go to a temporary file in the same folder, are forced to disk,
// and the temporary file is renamed over the old one.
#pragma once

#include <cstddef>
#include <string>

namespace Quillmark::platform
{

/** Writes `data` to `path` atomically, creating the folder when it is missing. With
    `keepPreviousAs`, the file that stood at `path` before is kept under that name (the old
    file there is replaced, also atomically). On failure the file at `path` is unchanged, no
    temporary file remains and `error` (may be null) says why. */
bool writeFileAtomically(const std::string& path, const void* data, size_t size, std::string* error,
                         const std::string& keepPreviousAs = {});

} // namespace Quillmark::platform
