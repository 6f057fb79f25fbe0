// The basic types that the plug-in interfaces share: parameter identifiers and values, sample
// types, bus enumerations, 128-unit texts and speaker arrangements.
#pragma once

#include "qel3/funknown.h"

namespace Quillmark
{
namespace Qel
{

using TChar = char16;
using String128 = TChar[128];
using CString = const char8*;

using ParamID = uint32;
using ParamValue = double;
using ProgramListID = int32;
using UnitID = int32;
using NoteExpressionTypeID = uint32;
using NoteExpressionValue = double;
using KeyswitchTypeID = uint32;
using CtrlNumber = int16;

using Sample32 = float;
using Sample64 = double;
using SampleRate = double;
using TSamples = int64;
using TQuarterNotes = double;

/** One bit per speaker; the channel order is the order of the set bits. */
using SpeakerArrangement = uint64;
using Speaker = uint64;

using MediaType = int32;
using BusDirection = int32;
using BusType = int32;
using IoMode = int32;

enum MediaTypes : int32
{
    kAudio = 0,
    kEvent = 1,
    kNumMediaTypes
};

enum BusDirections : int32
{
    kInput = 0,
    kOutput = 1
};

enum BusTypes : int32
{
    kMain = 0,
    kAux = 1
};

enum IoModes : int32
{
    kSimple = 0,
    kAdvanced = 1,
    kOfflineProcessing = 2
};

inline constexpr UnitID kRootUnitId = 0;
inline constexpr UnitID kNoParentUnitId = -1;
inline constexpr ProgramListID kNoProgramListId = -1;
inline constexpr ParamID kNoParamId = 0xFFFFFFFF;

} // namespace Qel
} // namespace Quillmark
