// Sources of events for the engine's input: each answers, for a range of positions in quarter
// notes, the notes and the controllers that fall in it. Called on the audio thread; neither
// allocates nor waits.
#pragma once

#include "base/fobject.h"
#include "qel3/ievents.h"

namespace Quillmark
{

class EventPlayer : public CmObject
{
public:
    /** Adds the notes in [start, end) to `list`. */
    virtual void getEvents(double start, double end, Qel::IEventList* list) = 0;
    /** Adds the controller changes in [start, end) to `list`. */
    virtual void getControllers(double start, double end, Qel::IEventList* list) {}

    QEL_DECLARE_CLASS(EventPlayer, CmObject)
};

} // namespace Quillmark
