// The modules and folders that a command-line job is given: a module file or package folder given
// directly is scanned by itself, through a temporary folder of its own that holds a link to it.
// Owned by the job; the folder goes with the object.
#pragma once

#include <string>
#include <vector>

namespace Quillmark
{

class DirectModules
{
public:
    DirectModules() = default;
    ~DirectModules();
    DirectModules(const DirectModules&) = delete;
    DirectModules& operator=(const DirectModules&) = delete;

    /** The folders to scan for `entries`; false with `problem` set when an entry does not
        exist or cannot be linked. */
    bool sort(const std::vector<std::string>& entries, std::vector<std::string>& folders,
              std::string& problem);

private:
    std::string folder;
};

} // namespace Quillmark
