#include "engine/audiooperatorlist.h"

#include <algorithm>
#include <cstring>

namespace Quillmark
{
namespace MiniEngine
{

namespace
{

/** Tells a child something with it detached, so that it finds no lock to take and cannot
    wait on the list that is telling it. */
template <class Call> void detached(IAudioOperator* child, IAudioOperatorList* list, Call call)
{
    child->setParent(nullptr);
    call(child);
    child->setParent(list);
}

} // namespace

AudioOperatorList::AudioOperatorList()
{
    children.reserve(10);
}

AudioOperatorList::~AudioOperatorList()
{
    for (IAudioOperator* child : children)
        child->release();
}

tresult AudioOperatorList::queryInterface(const TUID iid, void** obj)
{
    if (!obj)
        return kInvalidArgument;
    if (iidEqual(iid, IAudioOperatorList::iid.bytes) || iidEqual(iid, IAudioOperator::iid.bytes) ||
        iidEqual(iid, FUnknown::iid.bytes))
    {
        addRef();
        *obj = static_cast<IAudioOperatorList*>(this);
        return kResultOk;
    }
    *obj = nullptr;
    return kNoInterface;
}

uint32 AudioOperatorList::addRef()
{
    return uint32(refCount.fetch_add(1, std::memory_order_relaxed) + 1);
}

uint32 AudioOperatorList::release()
{
    const int32 count = refCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (count == 0)
        delete this;
    return uint32(count);
}

IAudioOperator* AudioOperatorList::getOperator(int32 index) const
{
    return index >= 0 && index < int32(children.size()) ? children[size_t(index)] : nullptr;
}

void AudioOperatorList::addOperator(IAudioOperator* op)
{
    if (!op)
        return;
    if (setup.blockSize > 0)
    {
        op->setupProcessing(setup);
        if (isProcessing())
            op->setActive(true);
    }
    op->setParent(this);
    FLock* lock = getProcessLock();
    if (lock)
        lock->lock();
    if (children.size() == children.capacity())
        children.reserve(children.empty() ? 10 : children.capacity() * 2);
    children.push_back(op);
    if (lock)
        lock->unlock();
}

bool AudioOperatorList::removeOperator(IAudioOperator* op)
{
    FLock* lock = getProcessLock();
    if (lock)
        lock->lock();
    const auto found = std::find(children.begin(), children.end(), op);
    const bool wasChild = found != children.end();
    if (wasChild)
    {
        op->setProcessing(false);
        children.erase(found);
    }
    if (lock)
        lock->unlock();
    if (!wasChild)
        return false;
    op->setParent(nullptr);
    if (isProcessing())
        op->setActive(false);
    return true;
}

bool AudioOperatorList::updatePins()
{
    for (IAudioOperator* child : children)
        child->updatePins();
    return true;
}

void AudioOperatorList::setupProcessing(const OperatorSetup& newSetup)
{
    setup = newSetup;
    for (IAudioOperator* child : children)
        child->setupProcessing(setup);
}

void AudioOperatorList::setActive(bool state)
{
    if (state)
    {
        if (isActive())
            return;
        for (IAudioOperator* child : children)
            child->setActive(true);
        active.store(true, std::memory_order_release);
        return;
    }
    if (!isActive())
        return;
    {
        FLock* lock = getProcessLock();
        if (lock)
            lock->lock();
        active.store(false, std::memory_order_release);
        if (lock)
            lock->unlock();
    }
    for (IAudioOperator* child : children)
        detached(child, this, [](IAudioOperator* op) { op->setActive(false); });
}

void AudioOperatorList::setProcessing(bool state)
{
    if (state)
    {
        for (IAudioOperator* child : children)
            child->setProcessing(true);
        processing.store(true, std::memory_order_release);
        return;
    }
    {
        // Under the lock: once it is released no block is running, and none starts, so the
        // children hear setProcessing(false) while none of them is inside process.
        FLock* lock = getProcessLock();
        if (lock)
            lock->lock();
        processing.store(false, std::memory_order_release);
        if (lock)
            lock->unlock();
    }
    for (IAudioOperator* child : children)
        detached(child, this, [](IAudioOperator* op) { op->setProcessing(false); });
}

void AudioOperatorList::process(OperatorBuffers& buffers)
{
    if (!active.load(std::memory_order_acquire) || !processing.load(std::memory_order_acquire))
        return;
    for (IAudioOperator* child : children)
        child->clearBuffers(buffers.numSamples);
    for (IAudioOperator* child : children)
        child->process(buffers);
}

void AudioOperatorList::prepareBuffers(int32 numSamples)
{
    for (IAudioOperator* child : children)
        child->prepareBuffers(numSamples);
}

void AudioOperatorList::clearBuffers(int32 numSamples)
{
    for (IAudioOperator* child : children)
        child->clearBuffers(numSamples);
}

void AudioOperatorList::suspend()
{
    if (!isActive())
        return;
    {
        FLock* lock = getProcessLock();
        if (lock)
            lock->lock();
        active.store(false, std::memory_order_release);
        if (lock)
            lock->unlock();
    }
    savedActive.reset();
    savedActiveCount = int32(children.size());
    if (savedActiveCount > 0)
        savedActive = std::make_unique<uint8[]>(size_t(savedActiveCount));
    for (int32 i = 0; i < savedActiveCount; ++i)
    {
        IAudioOperator* child = children[size_t(i)];
        savedActive[size_t(i)] = child->isActive() ? 1 : 0;
        if (savedActive[size_t(i)])
            detached(child, this, [](IAudioOperator* op) { op->setActive(false); });
    }
}

void AudioOperatorList::resume()
{
    if (isActive())
        return;
    for (size_t i = 0; i < children.size(); ++i)
    {
        // A child added while suspended has no byte and is switched on.
        const bool wasActive = !savedActive || int32(i) >= savedActiveCount || savedActive[i];
        if (wasActive)
            children[i]->setActive(true);
    }
    savedActive.reset();
    savedActiveCount = 0;
    active.store(true, std::memory_order_release);
}

void AudioOperatorRoot::setupProcessing(const OperatorSetup& newSetup)
{
    setup = newSetup;
    const size_t samples = size_t(std::max(setup.blockSize, 0));
    // Neither buffer is ever freed while a block could run: the caller has stopped processing.
    silentInputBuffer = std::make_unique<float[]>(samples > 0 ? samples : 1);
    scratchOutputBuffer = std::make_unique<float[]>(samples > 0 ? samples : 1);
    std::memset(silentInputBuffer.get(), 0, sizeof(float) * (samples > 0 ? samples : 1));
    std::memset(scratchOutputBuffer.get(), 0, sizeof(float) * (samples > 0 ? samples : 1));
    setup.silentInput = silentInputBuffer.get();
    setup.scratchOutput = scratchOutputBuffer.get();
    for (IAudioOperator* child : children)
        child->setupProcessing(setup);
}

void AudioOperatorRoot::prepareBuffers(int32 numSamples)
{
    FGuard guard(processLock);
    for (auto child = children.rbegin(); child != children.rend(); ++child)
        (*child)->prepareBuffers(numSamples);
}

bool AudioOperatorRoot::renderBlock(OperatorBuffers& buffers)
{
    if (!processLock.trylock())
        return false;
    process(buffers);
    processLock.unlock();
    return true;
}

} // namespace MiniEngine
} // namespace Quillmark
