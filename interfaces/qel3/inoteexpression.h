// Note expressions: per-note controls (tuning, volume, pan, ...) that an instrument declares
// for each event bus and channel.
#pragma once

#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

enum NoteExpressionTypeIDs : uint32
{
    kVolumeTypeID = 0,
    kPanTypeID = 1,
    kTuningTypeID = 2,
    kVibratoTypeID = 3,
    kExpressionTypeID = 4,
    kBrightnessTypeID = 5,
    kTextTypeID = 6,
    kPhonemeTypeID = 7,
    kCustomStart = 100000,
};

struct NoteExpressionTypeInfo
{
    enum NoteExpressionTypeFlags : int32
    {
        kIsBipolar = 1 << 0,
        kIsOneShot = 1 << 1,
        kIsAbsolute = 1 << 2,
        kAssociatedParameterIDValid = 1 << 3,
    };

    NoteExpressionTypeID typeId;
    String128 title;
    String128 shortTitle;
    String128 units;
    int32 unitId;
    NoteExpressionValue defaultValue;
    NoteExpressionValue minimum;
    NoteExpressionValue maximum;
    int32 stepCount;
    int32 reserved;
    ParamID associatedParameterId;
    int32 flags;
};

static_assert(sizeof(NoteExpressionTypeInfo) == 816);
static_assert(offsetof(NoteExpressionTypeInfo, units) == 516);
static_assert(offsetof(NoteExpressionTypeInfo, unitId) == 772);
static_assert(offsetof(NoteExpressionTypeInfo, defaultValue) == 776);
static_assert(offsetof(NoteExpressionTypeInfo, minimum) == 784);
static_assert(offsetof(NoteExpressionTypeInfo, maximum) == 792);
static_assert(offsetof(NoteExpressionTypeInfo, stepCount) == 800);
static_assert(offsetof(NoteExpressionTypeInfo, associatedParameterId) == 808);
static_assert(offsetof(NoteExpressionTypeInfo, flags) == 812);

class INoteExpressionController : public FUnknown
{
public:
    virtual int32 getNoteExpressionCount(int32 busIndex, int16 channel) = 0;
    virtual tresult getNoteExpressionInfo(int32 busIndex, int16 channel, int32 noteExpressionIndex,
                                          NoteExpressionTypeInfo& info) = 0;
    virtual tresult getNoteExpressionStringByValue(int32 busIndex, int16 channel,
                                                   NoteExpressionTypeID id,
                                                   NoteExpressionValue valueNormalized,
                                                   String128 string) = 0;
    virtual tresult getNoteExpressionValueByString(int32 busIndex, int16 channel,
                                                   NoteExpressionTypeID id, const TChar* string,
                                                   NoteExpressionValue& valueNormalized) = 0;

    QEL_INTERFACE_IID(0xB7F8F859, 0x41234872, 0x91169581, 0x4F3721A3);
};

} // namespace Qel
} // namespace Quillmark
