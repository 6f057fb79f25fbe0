#include "hosting/qelstream.h"

#include "hosting/qelattributelist.h"

namespace Quillmark
{
namespace Qel
{

QelStream::QelStream(IBStream* stream, const String& filePath, QelAttributeList* attributes)
    : stream(stream), filePath(filePath), attributes(attributes)
{
    if (stream)
        stream->addRef();
    if (attributes)
    {
        attributes->addRef();
        if (!filePath.isEmpty())
            attributes->setString(kFilePathAttribute, filePath.toUtf16().c_str());
    }
}

QelStream::~QelStream()
{
    if (attributes)
        attributes->release();
    if (stream)
        stream->release();
}

tresult QelStream::read(void* buffer, int32 numBytes, int32* numBytesRead)
{
    return stream ? stream->read(buffer, numBytes, numBytesRead) : kResultFalse;
}

tresult QelStream::write(void* buffer, int32 numBytes, int32* numBytesWritten)
{
    return stream ? stream->write(buffer, numBytes, numBytesWritten) : kResultFalse;
}

tresult QelStream::seek(int64 pos, int32 mode, int64* result)
{
    return stream ? stream->seek(pos, mode, result) : kResultFalse;
}

tresult QelStream::tell(int64* pos)
{
    return stream ? stream->tell(pos) : kResultFalse;
}

tresult QelStream::getFileName(String128 name)
{
    if (!name)
        return kInvalidArgument;
    if (filePath.isEmpty())
        return kResultFalse;
    std::u16string path = filePath.toUtf16();
    size_t slash = path.find_last_of(u'/');
    String fileName(slash == std::u16string::npos ? path : path.substr(slash + 1));
    fileName.copyTo16(name, 128);
    return kResultOk;
}

IAttributeList* QelStream::getAttributes()
{
    return attributes;
}

tresult QelStream::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IBStream)
    QEL_QUERY_INTERFACE(iid, obj, IStreamAttributes)
    return CmObject::queryInterface(iid, obj);
}

} // namespace Qel
} // namespace Quillmark
