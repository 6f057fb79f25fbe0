// iXML, the recorder metadata that Wave and AIFF files may carry as an XML chunk, mapped to
// and from a file's attribute tree by one table. Keys the table does not know travel in a
// section of this host's own, so they survive a round trip through the file.
#pragma once

#include "base/fattributes.h"

#include <string>

namespace Quillmark
{

class AIXmlHandler
{
public:
    /** Reads an iXML document into `attributes`. A value already in the tree stays (what the
        file's `bext` said wins), except lists, which iXML completes. On malformed text the
        attributes stay as far as the parse got; answers whether it parsed completely. */
    static bool import(const void* data, size_t size, FAttributes& attributes);
    /** The iXML document for `attributes`, declaration line first. */
    static std::string render(const FAttributes& attributes);

    /** The FUNCTION word for a speaker in an arrangement of the given type, or empty. */
    static std::string functionWord(int32 speaker, int32 arrangementType);
    /** The speaker of a FUNCTION word; false for an unknown word. */
    static bool speakerOfFunction(const std::string& word, int32& speaker);
    /** "30000/1001" and the like for a frame rate. */
    static std::string masterSpeed(double rate);
};

} // namespace Quillmark
