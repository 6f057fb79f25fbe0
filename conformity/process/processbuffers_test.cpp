// The buffer holder of the processing tests: one bus array per direction laid out after the
// component's busses, zeroed channels of the largest block, silence flags of default-active
// busses, and buffers kept while the layout stays.
#include "conformity/processbuffers.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

using namespace Quillmark;
using namespace Quillmark::Qel;

namespace
{

/** Answers bus questions from two lists of channel counts; default-active per bus. */
class BusComponent : public IComponent
{
public:
    struct Bus
    {
        int32 channels;
        bool defaultActive;
    };
    std::vector<Bus> inputs;
    std::vector<Bus> outputs;

    tresult queryInterface(const TUID, void** obj) override
    {
        *obj = nullptr;
        return kNoInterface;
    }
    uint32 addRef() override { return 1; }
    uint32 release() override { return 1; }
    tresult initialize(FUnknown*) override { return kResultOk; }
    tresult terminate() override { return kResultOk; }
    tresult getControllerClassId(TUID) override { return kResultFalse; }
    tresult setIoMode(IoMode) override { return kResultOk; }
    int32 getBusCount(MediaType type, BusDirection dir) override
    {
        return type == kAudio ? int32(list(dir).size()) : 0;
    }
    tresult getBusInfo(MediaType type, BusDirection dir, int32 index, BusInfo& bus) override
    {
        if (type != kAudio || index < 0 || index >= int32(list(dir).size()))
            return kInvalidArgument;
        std::memset(&bus, 0, sizeof bus);
        bus.mediaType = kAudio;
        bus.direction = dir;
        bus.channelCount = list(dir)[size_t(index)].channels;
        bus.flags = list(dir)[size_t(index)].defaultActive ? uint32(BusInfo::kDefaultActive) : 0u;
        return kResultOk;
    }
    tresult getRoutingInfo(RoutingInfo&, RoutingInfo&) override { return kNotImplemented; }
    tresult activateBus(MediaType, BusDirection, int32, TBool) override { return kResultOk; }
    tresult setActive(TBool) override { return kResultOk; }
    tresult setState(IBStream*) override { return kResultOk; }
    tresult getState(IBStream*) override { return kResultOk; }

private:
    std::vector<Bus>& list(BusDirection dir) { return dir == kInput ? inputs : outputs; }
};

TEST(ProcessBuffers, StartsWithABlockOf64AndNoBusses)
{
    ProcessBuffers buffers(kSample64);
    const ProcessData& data = buffers.data();
    EXPECT_EQ(data.processMode, kRealtime);
    EXPECT_EQ(data.symbolicSampleSize, kSample64);
    EXPECT_EQ(data.numSamples, 64);
    EXPECT_EQ(data.numInputs, 0);
    EXPECT_EQ(data.numOutputs, 0);
    EXPECT_EQ(data.inputs, nullptr);
    EXPECT_EQ(data.inputParameterChanges, nullptr);
    EXPECT_EQ(data.inputEvents, nullptr);
    EXPECT_EQ(data.processContext, nullptr);
}

TEST(ProcessBuffers, LaysOutEveryBusWithZeroedChannelsAndFlagsDefaultActiveOnes)
{
    BusComponent component;
    component.inputs = {{2, true}, {4, false}};
    component.outputs = {{1, true}, {0, true}};
    ProcessBuffers buffers(kSample32);
    buffers.prepare(component, kSample32, 8192);
    const ProcessData& data = buffers.data();
    ASSERT_EQ(data.numInputs, 2);
    ASSERT_EQ(data.numOutputs, 2);
    EXPECT_EQ(data.inputs[0].numChannels, 2);
    EXPECT_EQ(data.inputs[0].silenceFlags, 0x3u);
    EXPECT_EQ(data.inputs[1].numChannels, 4);
    EXPECT_EQ(data.inputs[1].silenceFlags, 0u);
    EXPECT_EQ(data.outputs[0].silenceFlags, 0x1u);
    EXPECT_EQ(data.outputs[1].numChannels, 0);
    EXPECT_EQ(data.outputs[1].silenceFlags, 0u);
    for (int32 c = 0; c < 4; ++c)
    {
        const float* samples = data.inputs[1].channelBuffers32[c];
        ASSERT_NE(samples, nullptr);
        for (int32 i = 0; i < 8192; ++i)
            ASSERT_EQ(samples[i], 0.0f);
    }
    // Every channel has memory of its own.
    EXPECT_NE(data.inputs[0].channelBuffers32[0], data.inputs[0].channelBuffers32[1]);
}

TEST(ProcessBuffers, KeepsTheBuffersOfAnUnchangedLayoutAndRenewsAChangedOne)
{
    BusComponent component;
    component.inputs = {{2, true}};
    component.outputs = {{2, true}};
    ProcessBuffers buffers(kSample64);
    buffers.prepare(component, kSample64, 8192);
    ProcessData& data = buffers.data();
    double* kept = data.outputs[0].channelBuffers64[1];
    kept[5] = 0.5;
    data.outputs[0].silenceFlags = 0;
    data.inputs[0].silenceFlags = 0x2;

    buffers.prepare(component, kSample64, 8192);
    EXPECT_EQ(data.outputs[0].channelBuffers64[1], kept);
    EXPECT_EQ(kept[5], 0.5); // kept as it is, not cleared
    EXPECT_EQ(data.outputs[0].silenceFlags, 0x3u);
    EXPECT_EQ(data.inputs[0].silenceFlags, 0x3u);

    component.outputs = {{1, false}};
    buffers.prepare(component, kSample64, 8192);
    ASSERT_EQ(data.numOutputs, 1);
    EXPECT_EQ(data.outputs[0].numChannels, 1);
    EXPECT_EQ(data.outputs[0].silenceFlags, 0u);
    EXPECT_EQ(data.outputs[0].channelBuffers64[0][5], 0.0);

    buffers.release();
    EXPECT_EQ(data.numInputs, 0);
    EXPECT_EQ(data.numOutputs, 0);
    EXPECT_EQ(data.inputs, nullptr);
    EXPECT_EQ(data.outputs, nullptr);
}

} // namespace
