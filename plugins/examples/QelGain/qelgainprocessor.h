// The audio half of the Qel Gain example: the object the host creates for class "Qel Gain".
// The host owns it by reference; it keeps the host context from initialize to terminate.
#pragma once

#include "common/pluginbase.h"

namespace Quillmark
{
namespace Qel
{
namespace Examples
{

/** For now the processor is its IPluginBase life cycle and nothing more: the component and
    processing interfaces join it once they exist. */
class QelGainProcessor : public PluginBase<>
{
};

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
