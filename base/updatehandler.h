// The process-wide change dispatcher: keeps the dependents of every object, calls them when the
// object announces a change, and holds the changes that wait for idle time. One singleton,
// created on first use and installed as FObject's update handler; its tables hold no references.
#pragma once

#include "base/flock.h"
#include "base/fobject.h"
#include "base/iupdatehandler.h"

#include <vector>

namespace Quillmark
{

namespace Update
{

/** One dependent of one object; the object is its identity pointer. Neither is counted. */
struct UDependency
{
    FUnknown* object;
    IDependent* dependent;
};

/** A change waiting for idle time. */
struct UDeferedChange
{
    FUnknown* object;
    int32 message;
    UDeferedChange* next;
};

/** An update in progress: the dependents it still has to call. A dependent removed meanwhile
    has its slot set to null. */
struct UUpdateData
{
    FUnknown* object;
    IDependent** dependents;
    int32 count;
    UUpdateData* next;
};

} // namespace Update

class UpdateHandler : public FObject, public IUpdateHandler, public IUpdateManager
{
    QEL_DECLARE_CLASS(UpdateHandler, FObject)
public:
    static constexpr int32 kBucketCount = 256;
    /** Dependents copied to the stack before an update moves its snapshot to the heap. */
    static constexpr int32 kLocalSnapshotSize = 1024;
    /** Dependents of one object that one update calls at most; the rest are left out. */
    static constexpr int32 kMaxSnapshotSize = 10240;
    static constexpr int32 kInitialBucketCapacity = 10;

    /** The singleton, created on first use; null once the process is shutting down. */
    static UpdateHandler* instance();

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

    tresult addDependent(FUnknown* object, IDependent* dependent) override;
    /** Null for either argument means all; both null is refused. */
    tresult removeDependent(FUnknown* object, IDependent* dependent) override;
    tresult triggerUpdates(FUnknown* object, int32 message) override;
    tresult deferUpdates(FUnknown* object, int32 message) override;

    tresult cancelUpdates(FUnknown* object) override;
    tresult triggerDeferedUpdates(FUnknown* object = nullptr) override;

private:
    template <class T> friend T* singletonInstance();

    UpdateHandler();
    ~UpdateHandler() override;

    using Bucket = std::vector<Update::UDependency>;

    Bucket& bucketOf(FUnknown* identity);
    void appendRunning(Update::UUpdateData* data);
    void removeRunning(Update::UUpdateData* data);
    bool isRunning(FUnknown* identity) const;
    void appendDeferred(Update::UDeferedChange* change);
    Update::UDeferedChange* takeDeferred(FUnknown* identity);
    bool isDeferred(FUnknown* identity, int32 message) const;
    void cancelLocked(FUnknown* identity);

    FLock lock{"UpdateHandler"};
    Bucket buckets[kBucketCount];
    Update::UDeferedChange* deferredHead = nullptr;
    Update::UDeferedChange* deferredTail = nullptr;
    Update::UUpdateData* runningHead = nullptr;
    Update::UUpdateData* runningTail = nullptr;
};

} // namespace Quillmark
