// The parameter changes a plug-in sees during a real-time check: those of the engine for the
// block, each moved to the sample where the check placed it, so that the plug-in's handling of
// changes inside a block is exercised as a sample-accurate host would. Fixed room, filled on
// the rendering thread without allocating. Owned by WatchingProcessor.
#pragma once

#include "qel3/iparameterchanges.h"

#include <array>

namespace Quillmark
{

/** A parameter's change in this block goes to `sampleOffset`. */
struct ParameterPlacement
{
    Qel::ParamID id = Qel::kNoParamId;
    int32 sampleOffset = 0;
};

class PlacedParameterChanges : public Qel::IParameterChanges
{
public:
    static constexpr int32 kCapacity = 256;

    /** Takes every point of `source` (whose queues may stand with free places between them),
        at the offset placed for its parameter, or at its own offset. Points beyond the room
        are dropped. */
    void fill(Qel::IParameterChanges& source, const ParameterPlacement* placements, int32 count);

    // IParameterChanges
    int32 getParameterCount() override { return used; }
    Qel::IParamValueQueue* getParameterData(int32 index) override;
    /** The host's changes are for reading only. */
    Qel::IParamValueQueue* addParameterData(const Qel::ParamID& id, int32& index) override;

    // FUnknown: held in place by its owner, so counting never deletes.
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return 1; }
    uint32 release() override { return 1; }

private:
    class Queue : public Qel::IParamValueQueue
    {
    public:
        static constexpr int32 kMaxPoints = 16;
        Qel::ParamID id = Qel::kNoParamId;
        int32 count = 0;
        std::array<int32, kMaxPoints> offsets{};
        std::array<Qel::ParamValue, kMaxPoints> values{};

        Qel::ParamID getParameterId() override { return id; }
        int32 getPointCount() override { return count; }
        tresult getPoint(int32 index, int32& sampleOffset, Qel::ParamValue& value) override;
        tresult addPoint(int32 sampleOffset, Qel::ParamValue value, int32& index) override;
        tresult queryInterface(const TUID iid, void** obj) override;
        uint32 addRef() override { return 1; }
        uint32 release() override { return 1; }
    };

    std::array<Queue, kCapacity> queues;
    int32 used = 0;
};

} // namespace Quillmark
