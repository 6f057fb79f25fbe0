// Converts a preset file to the older fxp (one program) or fxb (bank) form that hosts of the
// previous plug-in generation read: a big-endian header, then the component and controller
// state as one opaque chunk. Stateless; the caller owns the streams.
#pragma once

#include "qel3/ibstream.h"

#include <string>

namespace Quillmark
{
namespace Qel
{

class PresetFile;

namespace FxpConverter
{

enum class Form
{
    kProgram, // fxp, "FPCh"
    kBank,    // fxb, "FBCh"
};

/** The int32 of a four-character identifier, the first character in the top byte; characters
    past the fourth are ignored and missing ones count as 0. */
int32 makeUniqueId(const std::string& text);

/** Writes the old form of `preset` (its chunk list read) to `out`. `programName` is the text
    of a program, cut to 27 characters. False when there is no component state to convert or a
    write comes up short. */
bool convert(PresetFile& preset, IBStream* out, Form form, int32 uniqueId,
             const std::string& programName);

/** Converts every "*.qelpreset" in `sourceFolder` into `destFolder` (the base name with
    ".fxp" or ".fxb"); answers the count converted and adds a line per failure to `problems`. */
int convertFolder(const std::string& sourceFolder, const std::string& destFolder, Form form,
                  int32 uniqueId, std::string* problems);

} // namespace FxpConverter
} // namespace Qel
} // namespace Quillmark
