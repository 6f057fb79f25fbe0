#include "presets/presetfile.h"

#include "presets/readonlybstream.h"
#include "qel3/icomponent.h"
#include "qel3/ieditcontroller.h"
#include "qel3/iunitinfo.h"
#include "qel3ext/iprogramdata.h"

#include <cstring>

namespace Quillmark
{
namespace Qel
{

namespace
{

const ChunkID chunkIDs[kNumPresetChunks] = {
    {'Q', 'E', 'L', '3'}, {'C', 'o', 'm', 'p'}, {'C', 'o', 'n', 't'},
    {'P', 'r', 'o', 'g'}, {'I', 'n', 'f', 'o'}, {'L', 'i', 's', 't'},
};

// A stream that answers kNotImplemented has not said it failed, so it is taken at its word.
bool succeeded(tresult result)
{
    return result == kResultOk || result == kNotImplemented;
}

// Releases an interface at the end of a scope.
struct Released
{
    FUnknown* object;
    ~Released()
    {
        if (object)
            object->release();
    }
};

} // namespace

const ChunkID& getChunkID(ChunkType type)
{
    return chunkIDs[type];
}

bool isEqualID(const ChunkID id1, const ChunkID id2)
{
    return std::memcmp(id1, id2, sizeof(ChunkID)) == 0;
}

PresetFile::PresetFile(IBStream* stream) : stream(stream)
{
    if (stream)
        stream->addRef();
}

PresetFile::~PresetFile()
{
    if (stream)
        stream->release();
}

const PresetFile::Entry* PresetFile::getEntry(ChunkType type) const
{
    for (int32 i = 0; i < entryCount; ++i)
        if (isEqualID(entries[i].id, getChunkID(type)))
            return &entries[i];
    return nullptr;
}

const PresetFile::Entry* PresetFile::getLastEntry() const
{
    const Entry* last = nullptr;
    for (int32 i = 0; i < entryCount; ++i)
        if (!last || saturatedAdd(entries[i].offset, entries[i].size) >
                         saturatedAdd(last->offset, last->size))
            last = &entries[i];
    return last;
}

bool PresetFile::isInside(const Entry& entry)
{
    if (!stream || entry.offset < 0 || entry.size < 0)
        return false;
    int64 position = tellPosition();
    int64 end = -1;
    if (stream->seek(0, IBStream::kIBSeekEnd, &end) != kResultOk)
        end = -1;
    if (position >= 0)
        seekTo(position);
    return end >= 0 && entry.offset <= end && entry.size <= end - entry.offset;
}

bool PresetFile::readBytes(void* data, int32 size)
{
    if (!stream)
        return false;
    int32 got = 0;
    return succeeded(stream->read(data, size, &got)) && got == size;
}

bool PresetFile::writeBytes(const void* data, int32 size)
{
    if (!stream)
        return false;
    int32 written = size;
    return succeeded(stream->write(const_cast<void*>(data), size, &written)) && written == size;
}

bool PresetFile::readID(ChunkID id)
{
    return readBytes(id, sizeof(ChunkID));
}

bool PresetFile::writeID(const ChunkID id)
{
    return writeBytes(id, sizeof(ChunkID));
}

bool PresetFile::readInt32(int32& value)
{
    uint8 bytes[4];
    if (!readBytes(bytes, 4))
        return false;
    uint32 raw = 0;
    for (int i = 3; i >= 0; --i)
        raw = (raw << 8) | bytes[i];
    value = int32(raw);
    return true;
}

bool PresetFile::writeInt32(int32 value)
{
    uint8 bytes[4];
    for (int i = 0; i < 4; ++i)
        bytes[i] = uint8(uint32(value) >> (8 * i));
    return writeBytes(bytes, 4);
}

bool PresetFile::readInt64(int64& value)
{
    uint8 bytes[8];
    if (!readBytes(bytes, 8))
        return false;
    uint64 raw = 0;
    for (int i = 7; i >= 0; --i)
        raw = (raw << 8) | bytes[i];
    value = int64(raw);
    return true;
}

bool PresetFile::writeInt64(int64 value)
{
    uint8 bytes[8];
    for (int i = 0; i < 8; ++i)
        bytes[i] = uint8(uint64(value) >> (8 * i));
    return writeBytes(bytes, 8);
}

bool PresetFile::seekTo(int64 position)
{
    if (!stream)
        return false;
    int64 reached = -1;
    return stream->seek(position, IBStream::kIBSeekSet, &reached) == kResultOk &&
           reached == position;
}

int64 PresetFile::tellPosition()
{
    int64 position = -1;
    if (!stream || stream->tell(&position) != kResultOk)
        return -1;
    return position;
}

bool PresetFile::readChunkList()
{
    entryCount = 0;
    if (!seekTo(0))
        return false;
    ChunkID id;
    if (!readID(id) || !isEqualID(id, getChunkID(kHeader)))
        return false;
    int32 version = 0;
    if (!readInt32(version))
        return false;
    char8 classText[kClassIDSize + 1] = {};
    if (!readBytes(classText, kClassIDSize))
        return false;
    int64 listOffset = 0;
    if (!readInt64(listOffset) || listOffset <= 0 || !seekTo(listOffset))
        return false;
    FUID uid;
    if (!uid.fromString(classText))
        uid = FUID();
    classID = uid;
    if (!readID(id) || !isEqualID(id, getChunkID(kChunkList)))
        return false;
    int32 count = 0;
    if (!readInt32(count))
        return false;
    if (count > kMaxEntries)
        count = kMaxEntries;
    for (int32 i = 0; i < count; ++i)
    {
        Entry& entry = entries[i];
        if (!readID(entry.id) || !readInt64(entry.offset) || !readInt64(entry.size))
            break;
        ++entryCount;
    }
    return true;
}

bool PresetFile::writeHeader()
{
    char8 classText[kClassIDSize + 1];
    classID.toString(classText);
    return seekTo(0) && writeID(getChunkID(kHeader)) && writeInt32(kFormatVersion) &&
           writeBytes(classText, kClassIDSize) && writeInt64(0);
}

bool PresetFile::writeChunkList()
{
    int64 listOffset = tellPosition();
    if (listOffset < kHeaderSize)
        return false;
    if (!seekTo(kListOffsetPos) || !writeInt64(listOffset) || !seekTo(listOffset))
        return false;
    if (!writeID(getChunkID(kChunkList)) || !writeInt32(entryCount))
        return false;
    for (int32 i = 0; i < entryCount; ++i)
        if (!writeID(entries[i].id) || !writeInt64(entries[i].offset) ||
            !writeInt64(entries[i].size))
            return false;
    return true;
}

bool PresetFile::beginChunk(Entry& entry, ChunkType type)
{
    if (entryCount >= kMaxEntries)
        return false;
    std::memcpy(entry.id, getChunkID(type), sizeof(ChunkID));
    entry.offset = tellPosition();
    entry.size = 0;
    return entry.offset >= 0;
}

bool PresetFile::endChunk(Entry& entry)
{
    if (entryCount >= kMaxEntries)
        return false;
    int64 end = tellPosition();
    if (end < entry.offset)
        return false;
    entry.size = end - entry.offset;
    entries[entryCount++] = entry;
    return true;
}

IBStream* PresetFile::openChunk(const Entry& entry, int64 skip)
{
    if (skip > entry.size)
        skip = entry.size;
    return new ReadOnlyBStream(stream, saturatedAdd(entry.offset, skip), entry.size - skip);
}

bool PresetFile::prepareMetaInfoUpdate()
{
    int64 position = kHeaderSize;
    const Entry* info = getEntry(kMetaInfo);
    if (info)
    {
        // Only a last chunk can be replaced without moving the ones behind it.
        if (info != &entries[entryCount - 1] || info != getLastEntry())
            return false;
        position = info->offset;
        --entryCount;
    }
    else if (const Entry* last = getLastEntry())
        position = saturatedAdd(last->offset, last->size);
    return position >= kHeaderSize && position < INT64_MAX && seekTo(position);
}

bool PresetFile::writeMetaInfo(const char* xml, int32 size, bool force)
{
    if (contains(kMetaInfo) && !force)
        return false;
    if (!prepareMetaInfoUpdate())
        return false;
    if (size == -1)
        size = xml ? int32(std::strlen(xml)) : 0;
    if (size < 0 || (size > 0 && !xml))
        return false;
    Entry entry{};
    if (!beginChunk(entry, kMetaInfo))
        return false;
    if (size > 0 && !writeBytes(xml, size))
        return false;
    return endChunk(entry);
}

bool PresetFile::readMetaInfo(char* buffer, int32& size)
{
    const Entry* info = getEntry(kMetaInfo);
    if (!buffer)
    {
        size = info && isInside(*info) ? int32(std::min<int64>(info->size, INT32_MAX)) : 0;
        return size > 0;
    }
    if (!info || size <= 0 || !seekTo(info->offset))
    {
        size = 0;
        return false;
    }
    int32 wanted = int32(std::min<int64>(size, info->size));
    int32 got = 0;
    bool ok = succeeded(stream->read(buffer, wanted, &got));
    size = std::max(got, 0);
    return ok && size > 0;
}

bool PresetFile::storeComponentState(IComponent* component)
{
    if (!component || contains(kComponentState))
        return false;
    Entry entry{};
    return beginChunk(entry, kComponentState) && succeeded(component->getState(stream)) &&
           endChunk(entry);
}

bool PresetFile::storeControllerState(IEditController* controller)
{
    if (!controller || contains(kControllerState))
        return false;
    Entry entry{};
    return beginChunk(entry, kControllerState) && succeeded(controller->getState(stream)) &&
           endChunk(entry);
}

bool PresetFile::storeProgramData(IProgramListData* data, ProgramListID listId, int32 programIndex)
{
    if (!data || contains(kProgramData))
        return false;
    Entry entry{};
    return beginChunk(entry, kProgramData) && writeInt32(listId) &&
           succeeded(data->getProgramData(listId, programIndex, stream)) && endChunk(entry);
}

bool PresetFile::restoreComponentState(IComponent* component)
{
    const Entry* entry = getEntry(kComponentState);
    if (!component || !entry)
        return false;
    IBStream* window = openChunk(*entry, 0);
    Released guard{window};
    return succeeded(component->setState(window));
}

bool PresetFile::restoreComponentState(IEditController* controller)
{
    const Entry* entry = getEntry(kComponentState);
    if (!controller || !entry)
        return false;
    IBStream* window = openChunk(*entry, 0);
    Released guard{window};
    return succeeded(controller->setComponentState(window));
}

bool PresetFile::restoreControllerState(IEditController* controller)
{
    const Entry* entry = getEntry(kControllerState);
    if (!controller || !entry)
        return false;
    IBStream* window = openChunk(*entry, 0);
    Released guard{window};
    return succeeded(controller->setState(window));
}

bool PresetFile::restoreProgramData(IProgramListData* data, ProgramListID expectedListId)
{
    const Entry* entry = getEntry(kProgramData);
    int32 listId = -1;
    if (!data || !entry || !seekTo(entry->offset) || !readInt32(listId))
        return false;
    if (expectedListId != -1 && listId != expectedListId)
        return false;
    IBStream* window = openChunk(*entry, 4);
    Released guard{window};
    return succeeded(data->setProgramData(listId, 0, window));
}

bool PresetFile::restoreProgramData(IUnitData* data, UnitID expectedUnitId)
{
    const Entry* entry = getEntry(kProgramData);
    int32 unitId = -1;
    if (!data || !entry || !seekTo(entry->offset) || !readInt32(unitId))
        return false;
    if (expectedUnitId != -1 && unitId != expectedUnitId)
        return false;
    IBStream* window = openChunk(*entry, 4);
    Released guard{window};
    return succeeded(data->setUnitData(unitId, window));
}

bool PresetFile::restoreProgramData(IUnitInfo* unitInfo, int32 listOrUnitId, int32 programIndex)
{
    const Entry* entry = getEntry(kProgramData);
    int32 id = -1;
    if (!unitInfo || !entry || !seekTo(entry->offset) || !readInt32(id) || id != listOrUnitId)
        return false;
    IBStream* window = openChunk(*entry, 4);
    Released guard{window};
    return unitInfo->setUnitProgramData(listOrUnitId, programIndex, window) == kResultOk;
}

} // namespace Qel
} // namespace Quillmark
