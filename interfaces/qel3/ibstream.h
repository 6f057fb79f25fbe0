// A byte stream handed between host and plug-in, for state and preset data.
#pragma once

#include "qel3/funknown.h"

namespace Quillmark
{

class IBStream : public FUnknown
{
public:
    enum IStreamSeekMode : int32
    {
        kIBSeekSet = 0, // from the start
        kIBSeekCur = 1, // from the current position
        kIBSeekEnd = 2, // from the end
    };

    /** Reads up to `numBytes`; `numBytesRead` (may be null) gets the count read. */
    virtual tresult read(void* buffer, int32 numBytes, int32* numBytesRead = nullptr) = 0;
    /** Writes `numBytes`; `numBytesWritten` (may be null) gets the count written. */
    virtual tresult write(void* buffer, int32 numBytes, int32* numBytesWritten = nullptr) = 0;
    /** Moves the position; `result` (may be null) gets the new position. */
    virtual tresult seek(int64 pos, int32 mode, int64* result = nullptr) = 0;
    virtual tresult tell(int64* pos) = 0;

    QEL_INTERFACE_IID(0xC3BF6EA2, 0x30994752, 0x9B6BF990, 0x1EE33E9B);
};

} // namespace Quillmark
