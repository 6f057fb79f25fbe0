#include "midi/pmidifiltersetup.h"

#include "base/fattributes.h"
#include "base/fattrvalues.h"
#include "base/singleton.h"

namespace Quillmark::MidiSupport
{

PMidiFilterSetup* PMidiFilterSetup::instance()
{
    return singletonInstance<PMidiFilterSetup>();
}

PMidiFilterSetup::PMidiFilterSetup() = default;

bool PMidiFilterSetup::isControllerOn(int32 controller) const
{
    return controller >= 0 && controller < kControllerCount && controllers[controller];
}

void PMidiFilterSetup::setControllerOn(int32 controller, bool state)
{
    if (controller >= 0 && controller < kControllerCount)
        controllers[controller] = state;
}

void PMidiFilterSetup::store(FAttributes& attributes) const
{
    attributes.setInt("filterStates", filterStates);
    attributes.setInt("channelStates", channelStates);
    FIntList* list = attributes.setIntList("Controllers");
    list->clear();
    for (bool on : controllers)
        list->add(on ? 1 : 0);
}

void PMidiFilterSetup::restore(const FAttributes& attributes)
{
    int64 value = 0;
    if (attributes.getInt("filterStates", value))
        filterStates = uint32(value);
    if (attributes.getInt("channelStates", value))
        channelStates = uint32(value);
    if (const FIntList* list = attributes.getIntList("Controllers"))
    {
        for (int32 i = 0; i < kControllerCount && i < list->count(); ++i)
            controllers[i] = list->at(i) == 1;
    }
}

} // namespace Quillmark::MidiSupport
