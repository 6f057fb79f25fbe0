// The preference store as the program loads it: the file "Defaults" with whatever bytes it holds
// (and no alternate copy), then every value of every group read back. Saving is left out: it
// syncs the disk on every input, and what it writes is the attribute tree's XML, which the
// attribute target checks for round trips.
#include "base/fdefaults.h"
#include "base/fuzz/fuzztempfile.h"

#include <cstdio>

using namespace Quillmark;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string path = fuzzing::writeInput("Defaults", data, size);
    std::remove((path + ".bak").c_str());
    auto* pool = new FDefaultPool(path);
    std::string problem;
    pool->load(&problem);
    for (int32 group = 0; group < pool->countGroups(); ++group)
    {
        FDefaults* defaults = pool->groupAt(group);
        for (int32 index = 0; defaults && index < defaults->countValues(); ++index)
        {
            const char8* key = defaults->keyAt(index);
            int64 number = 0;
            double real = 0;
            String text;
            FUID id;
            defaults->getInt(key, number);
            defaults->getFloat(key, real);
            defaults->getString(key, text);
            defaults->getFUID(key, id);
        }
    }
    pool->release();
    return 0;
}
