// The short text that the conformity tests print for a plug-in's speaker mask ("Stereo", "51",
// ...). Only exact masks of the named arrangements have one; stateless.
#pragma once

#include "base/fstring.h"
#include "qel3/qeltypes.h"

namespace Quillmark
{

/** The short name of exactly this mask, "Empty" for no speakers, "Unknown" for anything else. */
const char8* getSpeakerArrangementString(Qel::SpeakerArrangement mask);

} // namespace Quillmark
