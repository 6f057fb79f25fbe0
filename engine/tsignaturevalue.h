// The time signature of the player: a rational of numerator and denominator, both 4 at the
// start. Owned by the player's values; the player hands a change to the graph.
#pragma once

#include "base/values/urationalvalue.h"

namespace Quillmark::MiniEngine
{

class TSignatureValue : public URationalValue
{
    QEL_DECLARE_CLASS(TSignatureValue, URationalValue)
public:
    TSignatureValue(const ConstString& name, int32 tag) : URationalValue(name, tag, 4, 4) {}

    /** A signature needs beats and a note value: parts at or below 0 are refused. */
    tresult setText(const ConstString& text) override;
    tresult setInt(int32 packed) override;
};

} // namespace Quillmark::MiniEngine
