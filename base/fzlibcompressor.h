// The compression engine over zlib ("Zlib Compressor"): the zlib stream format with its header
// and checksum, worked through in fixed chunks so that any stream size goes. Created by the class
// registry for whoever asks; each caller owns its instance.
#pragma once

#include "base/fobject.h"
#include "base/icompressionengine.h"

namespace Quillmark
{

class FZlibCompressor : public FObject, public ICompressionEngine
{
    QEL_DECLARE_CLASS(FZlibCompressor, FObject)
public:
    static constexpr const char8* kCategory = "Compression Engine";
    static constexpr const char8* kName = "Zlib Compressor";

    /** For the class registry: a new engine as its ICompressionEngine. */
    static FUnknown* create(void* userData);

    tresult compress(IBStream* source, IBStream* target, int32 level) override;
    tresult decompress(IBStream* source, IBStream* target) override;

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }
};

} // namespace Quillmark
