// The processor the driver calls for every block: it clears the device's playback buffers,
// renders the engine's graph into them and applies the output gain. It also keeps the graph's
// format in step with the device and stops and restarts the graph around every change the
// driver reports. One per application, kept in a global; it holds a reference to the graph.
#pragma once

#include "base/fobject.h"
#include "engine/audiooperatorlist.h"
#include "qelhost/ibaios.h"

#include <atomic>

namespace Quillmark
{

class FDefaultPool;
class FMessage;
class PBaiosManager;

class BaiosHandler : public CmObject, public Baios::IProcessor
{
    QEL_DECLARE_CLASS(BaiosHandler, CmObject)
public:
    /** Playback channels of one device that a block can serve. */
    static constexpr int32 kMaxChannels = 64;

    /** Joins `graph` to `manager`: becomes the manager's processor and message target, sets
        the graph up in the device's format and, when the device plays, starts it. Null when the
        manager has no library; nothing is left behind then. `preferences` may be null. */
    static BaiosHandler* create(MiniEngine::AudioOperatorRoot* graph, PBaiosManager* manager,
                                FDefaultPool* preferences);
    /** The global handler, or null. */
    static BaiosHandler* instance();
    /** Saves the settings, stops the graph, closes the devices and clears the global. */
    static void destroy(FDefaultPool* preferences);

    // Baios::IProcessor, on the driver's thread
    void process(const Baios::ProcessRecord& record) override;

    /** Messages of the manager and the driver, on the main thread. */
    void notify(FMessage* message) override;

    /** Reads the device's format; a change sets the graph up again. */
    void syncFormat();

    double getSampleRate() const { return sampleRate; }
    int32 getBlockSize() const { return blockSize.load(); }
    MiniEngine::AudioOperatorRoot* getGraph() const { return audioGraph; }
    /** Blocks handed to the graph, and blocks that played silence instead (the graph busy, or
        the block's size not the graph's). */
    int64 getBlocksRendered() const { return blocksRendered.load(); }
    int64 getBlocksSkipped() const { return blocksSkipped.load(); }

    // FUnknown
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return CmObject::addRef(); }
    uint32 release() override { return CmObject::release(); }

protected:
    BaiosHandler(MiniEngine::AudioOperatorRoot* graph, PBaiosManager* manager);
    ~BaiosHandler() override;

private:
    void stopEngine();
    void startEngine();

    MiniEngine::AudioOperatorRoot* audioGraph; // one reference
    double sampleRate = -1.0;
    std::atomic<int32> blockSize{0};
    // Set while the graph's buffers do not match the device's; such blocks play silence.
    std::atomic<bool> needsPrepare{false};
    PBaiosManager* manager; // not owned; outlives the handler
    std::atomic<int64> blocksRendered{0};
    std::atomic<int64> blocksSkipped{0};
};

} // namespace Quillmark
