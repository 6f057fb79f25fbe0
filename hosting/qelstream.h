// A stream handed to a plug-in for state or preset data: it forwards to the host's stream and
// tells the plug-in the file behind it. Holds references to the stream and the attribute list;
// whoever hands it to the plug-in creates and releases it.
#pragma once

#include "base/fobject.h"
#include "base/fstring.h"
#include "qel3/ibstream.h"
#include "qel3/istreamattributes.h"

namespace Quillmark
{
namespace Qel
{

class QelAttributeList;

class QelStream : public CmObject, public IBStream, public IStreamAttributes
{
    QEL_DECLARE_CLASS(QelStream, CmObject)
public:
    /** The attribute that holds the full path of the file behind the stream. */
    static constexpr const char8* kFilePathAttribute = "FilePathString";

    /** `filePath` may be empty and `attributes` null. With both, the path is stored in the
        list under kFilePathAttribute. */
    explicit QelStream(IBStream* stream, const String& filePath = {},
                       QelAttributeList* attributes = nullptr);
    ~QelStream() override;
    QelStream(const QelStream&) = delete;
    QelStream& operator=(const QelStream&) = delete;

    // IBStream
    tresult read(void* buffer, int32 numBytes, int32* numBytesRead = nullptr) override;
    tresult write(void* buffer, int32 numBytes, int32* numBytesWritten = nullptr) override;
    tresult seek(int64 pos, int32 mode, int64* result = nullptr) override;
    tresult tell(int64* pos) override;

    // IStreamAttributes
    /** The last part of the path, cut to 128 units; kResultFalse without a path. */
    tresult getFileName(String128 name) override;
    IAttributeList* getAttributes() override;

    IBStream* getStream() const { return stream; }
    const String& getFilePath() const { return filePath; }

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

private:
    IBStream* stream;
    String filePath;
    QelAttributeList* attributes;
};

} // namespace Qel
} // namespace Quillmark
