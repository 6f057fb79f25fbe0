// Feeds bytes to the registry as the stored "PortSetup" text of the settings file.
#include "devices/ports/pportregistry.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Quillmark::PPortRegistry registry;
    registry.restoreSetupText(data, size);
    for (Quillmark::int32 i = 0; i < registry.getMappingCount(); ++i)
        registry.findPort(registry.getMapping(i)->source);
    return 0;
}
