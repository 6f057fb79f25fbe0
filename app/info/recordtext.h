// Texts of a plug-in's records as host strings. A record's text field holds 128 16-bit units
// and a plug-in may fill all of them without a terminator, so no read goes past the field.
#pragma once

#include "base/fstring.h"
#include "qel3/qeltypes.h"

namespace Quillmark
{

/** The text of a 128-unit field: up to its first zero unit, or all 128 units. */
String recordText(const Qel::String128& field);

/** A 128-unit buffer for a plug-in to write into, cleared first so that a plug-in that writes
    nothing leaves an empty text. */
struct RecordTextBuffer
{
    Qel::String128 units{};
    String text() const { return recordText(units); }
};

} // namespace Quillmark
