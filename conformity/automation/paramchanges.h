// The queue of points of one parameter that the automation test hands to a plug-in for a block.
// The plug-in may only read it, and every point remembers for good whether it was read. Owned by
// QelAutomationTest, one per tested parameter, from its setup to its teardown.
#pragma once

#include "qel3/iparameterchanges.h"

#include <memory>

namespace Quillmark
{
namespace Qel
{

class ParamChanges : public IParamValueQueue
{
public:
    ParamChanges() = default;
    ParamChanges(const ParamChanges&) = delete;
    ParamChanges& operator=(const ParamChanges&) = delete;
    virtual ~ParamChanges() = default;

    /** Serves parameter `id` with room for `maxPoints` points, all unused and unread. Without
        memory (or room) the queue has no points and takes none. */
    void init(ParamID id, int32 maxPoints);
    /** Empties the queue for the next block; the read marks of the slots stay. */
    void clearPoints();
    /** Stores a point in slot `pointIndex`, which must be the next free one within the room.
        False when refused, or when the queue has no points at all. */
    bool storePoint(int32 pointIndex, int32 sampleOffset, ParamValue value);
    /** Whether the queue has memory for points (a parameter that cannot be automated has none). */
    bool hasPoints() const { return points != nullptr; }
    /** Over the used points: whether any (`atLeastOne`) or all of them have been read. A slot
        read in an earlier block counts as read, since the marks are never cleared. */
    bool havePointsBeenRead(bool atLeastOne) const;
    /** The number of points there is room for. */
    int32 getCapacity() const { return numPoints; }

    // IParamValueQueue
    ParamID getParameterId() override { return id; }
    int32 getPointCount() override { return usedPoints; }
    /** Gives a used point and marks it as read. */
    tresult getPoint(int32 index, int32& sampleOffset, ParamValue& value) override;
    /** The queue belongs to the host: a plug-in cannot add to it. */
    tresult addPoint(int32 sampleOffset, ParamValue value, int32& index) override;

    // FUnknown. The test owns the queues in an array, so the count never deletes.
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return uint32(++refCount); }
    uint32 release() override { return uint32(--refCount); }

private:
    struct Point
    {
        int32 offset = -1;
        ParamValue value = 0.0;
        bool read = false;
    };

    int32 refCount = 1;
    ParamID id = kNoParamId;
    int32 numPoints = 0;
    int32 usedPoints = 0;
    std::unique_ptr<Point[]> points;
    int32 processedFrames = 0; // cleared with usedPoints; nothing reads it
};

} // namespace Qel
} // namespace Quillmark
