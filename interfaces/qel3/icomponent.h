// The processing half of a plug-in as the host sees it: its busses, its state, its activation,
// and which class is its edit controller.
#pragma once

#include "qel3/ibstream.h"
#include "qel3/ipluginbase.h"
#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

/** One bus of a component. */
struct BusInfo
{
    enum BusFlags : uint32
    {
        kDefaultActive = 1 << 0,
    };

    MediaType mediaType;    // kAudio or kEvent
    BusDirection direction; // kInput or kOutput
    int32 channelCount;
    String128 name;
    BusType busType; // kMain or kAux
    uint32 flags;
};

static_assert(sizeof(BusInfo) == 276);
static_assert(offsetof(BusInfo, mediaType) == 0);
static_assert(offsetof(BusInfo, direction) == 4);
static_assert(offsetof(BusInfo, channelCount) == 8);
static_assert(offsetof(BusInfo, name) == 12);
static_assert(offsetof(BusInfo, busType) == 268);
static_assert(offsetof(BusInfo, flags) == 272);

/** Where the events of one input bus and channel end up. */
struct RoutingInfo
{
    MediaType mediaType;
    int32 busIndex;
    int32 channel; // -1 for all channels
};

static_assert(sizeof(RoutingInfo) == 12);

class IComponent : public IPluginBase
{
public:
    /** The class identifier of the separate edit controller, when there is one. */
    virtual tresult getControllerClassId(TUID classId) = 0;
    virtual tresult setIoMode(IoMode mode) = 0;
    virtual int32 getBusCount(MediaType type, BusDirection dir) = 0;
    virtual tresult getBusInfo(MediaType type, BusDirection dir, int32 index, BusInfo& bus) = 0;
    virtual tresult getRoutingInfo(RoutingInfo& inInfo, RoutingInfo& outInfo) = 0;
    virtual tresult activateBus(MediaType type, BusDirection dir, int32 index, TBool state) = 0;
    virtual tresult setActive(TBool state) = 0;
    virtual tresult setState(IBStream* state) = 0;
    virtual tresult getState(IBStream* state) = 0;

    QEL_INTERFACE_IID(0xE831FF31, 0xF2D54301, 0x928EBBEE, 0x25697802);
};

} // namespace Qel
} // namespace Quillmark
