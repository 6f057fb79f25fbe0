// Text helpers shared by the value kinds: trimming and strict number parsing, so that every
// kind refuses the same malformed input. Stateless functions.
#pragma once

#include "base/fstring.h"

#include <string>

namespace Quillmark
{
namespace ValueText
{

/** The text as UTF-8 without leading and trailing blanks (spaces and tabs). */
std::string trimmed(const ConstString& text);
/** A decimal integer with an optional sign, the whole text; false for anything else,
    including a number beyond 64 bits. */
bool parseInteger(const std::string& text, int64& result);
/** A finite decimal number, the whole text; false for anything else, NaN and infinities
    included. The decimal point is always ".". */
bool parseDouble(const std::string& text, double& result);

} // namespace ValueText
} // namespace Quillmark
