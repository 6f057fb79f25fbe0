// The object the host creates for class "Qel Tone", an example module whose factory answers only
// the first factory interface. The host owns it by reference.
#pragma once

#include "common/pluginbase.h"

namespace Quillmark
{
namespace Qel
{
namespace Examples
{

/** The IPluginBase life cycle for now; the component interfaces join it once they exist. */
class QelTone : public PluginBase<>
{
};

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
