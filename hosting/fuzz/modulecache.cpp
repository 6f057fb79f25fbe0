// The module cache as a scan reads it: the file "Module Cache" with whatever bytes it holds,
// over a folder with one module whose path and time of change never vary, so that an entry
// the fuzzer keeps whole is really taken instead of the module.
#include "base/fdefaults.h"
#include "base/fuzz/fuzztempfile.h"
#include "hosting/fcomponentregistry.h"

#include <filesystem>
#include <utime.h>

using namespace Quillmark;

namespace
{

const std::string& moduleFolder()
{
    // A fixed place: the cache stores the module's path, and the seeds were made over it.
    static const std::string folder = "/tmp/qel-fuzz-module-cache";
    return folder;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    namespace fs = std::filesystem;
    fs::create_directories(moduleFolder());
    const std::string module = moduleFolder() + "/fx_counting.so";
    fs::copy_file(std::string(QEL_FIXTURE_DIR) + "/fx_counting.so", module,
                  fs::copy_options::overwrite_existing);
    utimbuf times{1600000000, 1600000000};
    utime(module.c_str(), &times);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string path = fuzzing::writeInput("Module Cache", data, size);
    std::remove((path + ".bak").c_str());
    auto* registry = new FComponentRegistry;
    registry->setCacheFolder(fuzzing::scratchFolder());
    registry->getCachePool()->setDoNotSave(true); // a save syncs the disk on every input
    registry->scanFolder(moduleFolder());
    for (int32 index = 0; index < registry->countDescriptions(); ++index)
        registry->getDescription(index);
    registry->release();
    return 0;
}
