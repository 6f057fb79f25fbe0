// The host's compression service: whole streams in, whole streams out. Registered with the class
// registry as a compiled-in class of category "Compression Engine", so that every part of the
// program finds it the same way as any other class.
#pragma once

#include "qel3/ibstream.h"

namespace Quillmark
{

class ICompressionEngine : public FUnknown
{
public:
    /** Compresses everything from `source`'s position on and appends it to `target`. `level`
        is 0 (store) to 9 (smallest), -1 for the engine's default. */
    virtual tresult compress(IBStream* source, IBStream* target, int32 level) = 0;
    /** Expands one compressed stream from `source`'s position and appends it to `target`.
        Damaged or truncated data answers kResultFalse; what was expanded so far stays written. */
    virtual tresult decompress(IBStream* source, IBStream* target) = 0;

    QEL_INTERFACE_IID(0x5E0C4A21, 0x7D3B4F8A, 0x9B16C2E4, 0x3A58D701);
};

} // namespace Quillmark
