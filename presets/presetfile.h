// The preset container: a 48-byte header naming the plug-in class, chunks of component state,
// controller state, program data and meta information, and a list of those chunks at the end.
// A PresetFile works on a stream it holds a reference to; it is used on one thread only and
// never locks its stream. Readers never report: a damaged file reads as one without chunks.
#pragma once

#include "base/fuid.h"
#include "qel3/ibstream.h"
#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

class IComponent;
class IEditController;
class IProgramListData;
class IUnitData;
class IUnitInfo;

/** A 4-character chunk identifier, stored in the file in this byte order. */
using ChunkID = char[4];

enum ChunkType
{
    kHeader,
    kComponentState,
    kControllerState,
    kProgramData,
    kMetaInfo,
    kChunkList,
    kNumPresetChunks
};

/** The identifier of `type`: "QEL3", "Comp", "Cont", "Prog", "Info", "List". */
const ChunkID& getChunkID(ChunkType type);
bool isEqualID(const ChunkID id1, const ChunkID id2);

class PresetFile
{
public:
    static constexpr int32 kMaxEntries = 128;
    static constexpr int32 kFormatVersion = 1;
    static constexpr int32 kClassIDSize = 32;
    static constexpr int64 kHeaderSize = 48;
    static constexpr int64 kListOffsetPos = 40;
    static constexpr int64 kEntrySize = 20;

    struct Entry
    {
        ChunkID id;
        int64 offset;
        int64 size;
    };

    /** `stream` gets a reference of its own. */
    explicit PresetFile(IBStream* stream);
    virtual ~PresetFile();
    PresetFile(const PresetFile&) = delete;
    PresetFile& operator=(const PresetFile&) = delete;

    IBStream* getStream() const { return stream; }
    const FUID& getClassID() const { return classID; }
    void setClassID(const FUID& uid) { classID = uid; }

    int32 getEntryCount() const { return entryCount; }
    const Entry& at(int32 index) const { return entries[index]; }
    /** The first entry of that type, or null. */
    const Entry* getEntry(ChunkType type) const;
    /** The entry that ends furthest into the file, or null. */
    const Entry* getLastEntry() const;
    bool contains(ChunkType type) const { return getEntry(type) != nullptr; }
    /** Whether the chunk's bytes all lie in the stream: a damaged list may claim more than the
        file has, and nobody should allocate for bytes that are not there. */
    bool isInside(const Entry& entry);

    /** Reads header and chunk list; false leaves an empty list. */
    bool readChunkList();
    /** Header with the class identifier and a list offset of 0, to be patched by
        writeChunkList. */
    bool writeHeader();
    /** Writes the list at the current position and patches its offset into the header. */
    bool writeChunkList();

    /** Positions the stream where a new "Info" chunk belongs, dropping an old one, which must
        be the last chunk. */
    bool prepareMetaInfoUpdate();
    /** Writes `xml` as the "Info" chunk; `size` -1 takes the text's length. Without `force`
        an existing "Info" chunk stays as it is and the answer is false. */
    bool writeMetaInfo(const char* xml, int32 size = -1, bool force = false);
    /** With a null buffer: the chunk's size into `size`, true when above 0. Otherwise reads up
        to `size` bytes of it and answers the count read in `size`. */
    bool readMetaInfo(char* buffer, int32& size);

    bool storeComponentState(IComponent* component);
    bool storeControllerState(IEditController* controller);
    /** Writes "Prog": the list id, then what the plug-in writes for program `programIndex`. */
    bool storeProgramData(IProgramListData* data, ProgramListID listId, int32 programIndex = 0);

    bool restoreComponentState(IComponent* component);
    /** Hands the component's state to the controller, so it learns what the component holds. */
    bool restoreComponentState(IEditController* controller);
    bool restoreControllerState(IEditController* controller);
    /** `expectedListId` -1 accepts any list. */
    bool restoreProgramData(IProgramListData* data, ProgramListID expectedListId = -1);
    bool restoreProgramData(IUnitData* data, UnitID expectedUnitId = -1);
    bool restoreProgramData(IUnitInfo* unitInfo, int32 listOrUnitId, int32 programIndex);

protected:
    bool readID(ChunkID id);
    bool writeID(const ChunkID id);
    bool readInt32(int32& value);
    bool writeInt32(int32 value);
    bool readInt64(int64& value);
    bool writeInt64(int64 value);
    bool readBytes(void* data, int32 size);
    bool writeBytes(const void* data, int32 size);
    bool seekTo(int64 position);
    int64 tellPosition();

    /** Starts a chunk at the current position; false when the list is full. */
    bool beginChunk(Entry& entry, ChunkType type);
    /** Ends it at the current position and records it. */
    bool endChunk(Entry& entry);
    /** A window over the chunk, `skip` bytes in; the caller releases it. */
    IBStream* openChunk(const Entry& entry, int64 skip);

    IBStream* stream;
    FUID classID;
    Entry entries[kMaxEntries];
    int32 entryCount = 0;
};

} // namespace Qel
} // namespace Quillmark
