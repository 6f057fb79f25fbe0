// Key switches: keys of an instrument that select articulations instead of playing notes.
#pragma once

#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

enum KeyswitchTypeIDs : uint32
{
    kNoteOnKeyswitchTypeID = 0,
    kOnTheFlyKeyswitchTypeID = 1,
    kOnReleaseKeyswitchTypeID = 2,
    kKeyRangeTypeID = 3,
};

struct KeyswitchInfo
{
    KeyswitchTypeID typeId;
    String128 title;
    String128 shortTitle;
    int32 keyswitchMin;
    int32 keyswitchMax;
    int32 keyRemapped; // negative for none
    int32 unitId;
    int32 flags;
};

static_assert(sizeof(KeyswitchInfo) == 536);
static_assert(offsetof(KeyswitchInfo, keyswitchMin) == 516);
static_assert(offsetof(KeyswitchInfo, keyRemapped) == 524);
static_assert(offsetof(KeyswitchInfo, flags) == 532);

class IKeyswitchController : public FUnknown
{
public:
    virtual int32 getKeyswitchCount(int32 busIndex, int16 channel) = 0;
    virtual tresult getKeyswitchInfo(int32 busIndex, int16 channel, int32 keySwitchIndex,
                                     KeyswitchInfo& info) = 0;

    QEL_INTERFACE_IID(0x1F2F76D3, 0xBFFB4B96, 0xB99527A5, 0x5EBCCEF4);
};

} // namespace Qel
} // namespace Quillmark
