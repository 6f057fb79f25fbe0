// The text a slot's context menu shows over a parameter: everything its record says, for the
// plug-in developer who wants to see what the host was told. Plain function of the record.
#pragma once

#include "qel3/ieditcontroller.h"

#include <string>
#include <vector>

namespace Quillmark::MiniEngine
{

/** The record in four pieces, each short enough for one menu entry: "ParameterInfo[<index>]:
    [id: ...], [unitId: ...]", the texts, the step count and default, "[flags: ...)...". */
std::vector<std::string> describeParameterPieces(int32 index, const Qel::ParameterInfo& info);
/** The pieces joined by ", ". */
std::string describeParameter(int32 index, const Qel::ParameterInfo& info);

} // namespace Quillmark::MiniEngine
