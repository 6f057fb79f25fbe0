// The edit half of the Qel Gain example: the object the host creates for class
// "Qel Gain Controller". The host owns it by reference, separately from the processor.
#pragma once

#include "common/pluginbase.h"

namespace Quillmark
{
namespace Qel
{
namespace Examples
{

/** Like the processor, only the IPluginBase life cycle for now; the parameter interface joins
    it once it exists. */
class QelGainController : public PluginBase<>
{
};

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
