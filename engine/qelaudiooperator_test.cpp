#include "engine/audiooperatorlist.h"
#include "engine/probetestsupport.h"
#include "engine/qelaudiooperator.h"
#include "engine/testoperators.h"

#include "base/platform/clock.h"

#include <thread>

namespace Quillmark::MiniEngine
{
namespace
{

using namespace Qel::Probe;
using Quillmark::testing::thisThread;
using testing::SinkOperator;
using testing::SourceOperator;

constexpr int32 kBlock = 64;

std::vector<std::string> pinNames(const QelAudioOperator& op, bool input)
{
    std::vector<std::string> names;
    for (int32 i = 0; QelBusPin* pin = input ? op.getInputPin(i) : op.getOutputPin(i); ++i)
    {
        String name;
        pin->getName(name);
        names.push_back(name.toUtf8());
    }
    return names;
}

class PlugInOperator : public Quillmark::testing::ProbeTest
{
protected:
    void TearDown() override
    {
        root->release();
        ProbeTest::TearDown();
    }

    /** An operator over a new instance of `cid`, attached under `name`, not yet in the graph. */
    QelAudioOperator* makeOperator(const QelUid& cid, const char8* name)
    {
        auto* op = new QelAudioOperator;
        EXPECT_TRUE(op->attach(makePlugIn(cid), name));
        return op;
    }

    void start()
    {
        OperatorSetup setup;
        setup.blockSize = kBlock;
        setup.sampleRate = 48000.0;
        root->setupProcessing(setup);
        root->prepareBuffers(kBlock);
        root->resume();
        root->setProcessing(true);
    }

    bool render()
    {
        OperatorBuffers buffers;
        buffers.numSamples = kBlock;
        return root->renderBlock(buffers);
    }

    AudioOperatorRoot* root = new AudioOperatorRoot;
};

TEST_F(PlugInOperator, PinsAreNamedAfterPlugInBusAndSpeaker)
{
    QelAudioOperator* synth = makeOperator(kSynthCid, "Synth");
    root->addOperator(synth);
    QelAudioOperator* fx = makeOperator(kEffectCid, "Fx");
    root->addOperator(fx);
    start();
    EXPECT_FALSE(synth->hasAudioInput());
    EXPECT_EQ(pinNames(*synth, true), std::vector<std::string>{});
    EXPECT_EQ(pinNames(*synth, false),
              (std::vector<std::string>{"Synth-Out", "Synth-Aux-L", "Synth-Aux-R"}));
    EXPECT_EQ(pinNames(*fx, true), (std::vector<std::string>{"Fx-In-L", "Fx-In-R"}));
    EXPECT_EQ(pinNames(*fx, false), (std::vector<std::string>{"Fx-Out-L", "Fx-Out-R"}));
    PPortID id;
    ASSERT_TRUE(fx->getInputPin(0)->getUniqueName(id));
    EXPECT_EQ(id.getText(), "I|QelBus|Fx-In-L");
}

TEST_F(PlugInOperator, PlugInThatRefusesStereoKeepsItsOwnArrangement)
{
    QelAudioOperator* mono = makeOperator(kMonoCid, "Mono");
    root->addOperator(mono);
    start();
    EXPECT_EQ(arguments(probe(), Call::kSetBusArrangements), std::vector<int32>{101});
    EXPECT_EQ(mono->getInputPinCount(), 1);
    EXPECT_EQ(mono->getOutputPinCount(), 1);
    // An input always names its speaker; a one-channel output does not.
    EXPECT_EQ(pinNames(*mono, true), std::vector<std::string>{"Mono-In-M"});
    EXPECT_EQ(pinNames(*mono, false), std::vector<std::string>{"Mono-Out"});
}

TEST_F(PlugInOperator, PlugInWithoutAudioOutputIsRefused)
{
    auto* op = new QelAudioOperator;
    EXPECT_FALSE(op->attach(makePlugIn(kSilentCid), "Silent"));
    EXPECT_EQ(op->getProblem(), "has no audio output");
    EXPECT_TRUE(op->getName().isEmpty());
    EXPECT_EQ(op->getComponent(), nullptr);
    EXPECT_TRUE(op->attach(nullptr, "Nothing")) << "detaching is no failure";
    EXPECT_EQ(op->getProblem(), "");
    op->release();
}

TEST_F(PlugInOperator, PlugInThatLiesAboutItsBussesIsRefusedWithAReason)
{
    auto* op = new QelAudioOperator;
    EXPECT_FALSE(op->attach(makePlugIn(kLiarCid), "Liar"));
    EXPECT_EQ(op->getProblem(), "reports 1 audio input and 1000000 audio output busses");
    EXPECT_EQ(op->getProcessor(), nullptr);
    op->release();
}

TEST_F(PlugInOperator, InitializeLeavesOnlyTheFirstBussesOn)
{
    QelAudioOperator* synth = makeOperator(kSynthCid, "Synth");
    // audio output 0 on, audio output 1 off
    EXPECT_EQ(arguments(probe(), Call::kActivateBus), (std::vector<int32>{100, -102}));
    EXPECT_TRUE(synth->isOutputBusActive(0));
    EXPECT_FALSE(synth->isOutputBusActive(1));
    synth->release();
}

TEST_F(PlugInOperator, SetupComesWithProcessingAndActivationOffAndBackInOrder)
{
    QelAudioOperator* fx = makeOperator(kEffectCid, "Fx");
    root->addOperator(fx);
    start();
    probe().reset();
    OperatorSetup setup;
    setup.blockSize = 128;
    root->setupProcessing(setup);
    EXPECT_EQ(configurationCalls(probe()),
              (std::vector<std::string>{"setProcessing:0", "setActive:0", "setBusArrangements:101",
                                        "setupProcessing:128", "setActive:1", "setProcessing:1"}));
}

TEST_F(PlugInOperator, RendersFromSourceThroughPlugInToSinkOnTheAudioThread)
{
    auto* source = new SourceOperator(2, 0.5f);
    root->addOperator(source);
    QelAudioOperator* fx = makeOperator(kEffectCid, "Fx");
    root->addOperator(fx);
    probe().setLevel(0.25f);
    auto* sink = new SinkOperator(2);
    root->addOperator(sink);
    start(); // the plug-in's pins exist from its first setup on
    source->getOutputPin(0)->connect(fx->getInputPin(0));
    source->getOutputPin(1)->connect(fx->getInputPin(1));
    fx->getOutputPin(0)->connect(sink->getInputPin(0));
    fx->getOutputPin(1)->connect(sink->getInputPin(1));
    root->prepareBuffers(kBlock);

    uint64 audioThread = 0;
    std::thread audio(
        [&]
        {
            audioThread = thisThread();
            for (int block = 0; block < 10; ++block)
                render();
        });
    audio.join();
    EXPECT_FLOAT_EQ(sink->received[0][0], 0.75f);
    EXPECT_FLOAT_EQ(sink->received[1][kBlock - 1], 1.75f);
    Call call{};
    int32 processCalls = 0;
    for (int32 i = 0; probe().getCall(i, call); ++i)
        if (call.kind == Call::kProcess)
        {
            ++processCalls;
            EXPECT_EQ(call.thread, audioThread);
            EXPECT_EQ(call.argument, kBlock);
        }
        else
            EXPECT_EQ(call.thread, thisThread()) << "configuration stays off the audio thread";
    EXPECT_EQ(processCalls, 10);
}

TEST_F(PlugInOperator, UnconnectedPinsUseTheSharedBuffers)
{
    QelAudioOperator* fx = makeOperator(kEffectCid, "Fx");
    root->addOperator(fx);
    start();
    const Qel::ProcessData& data = fx->getProcessData();
    ASSERT_EQ(data.numInputs, 1);
    ASSERT_EQ(data.inputs[0].numChannels, 2);
    EXPECT_EQ(data.inputs[0].channelBuffers32[1], root->getSilentInput());
    EXPECT_EQ(data.outputs[0].channelBuffers32[0], root->getScratchOutput());
}

TEST_F(PlugInOperator, DeactivationGivesUpWaitingForADeadAudioThread)
{
    QelAudioOperator* fx = makeOperator(kEffectCid, "Fx");
    fx->setActive(true);
    fx->setProcessing(true); // and no audio thread ever stops it
    probe().reset();
    const double started = platform::seconds();
    fx->setActive(false);
    const double waited = platform::seconds() - started;
    EXPECT_GE(waited, 1.9);
    EXPECT_EQ(configurationCalls(probe()), std::vector<std::string>{"setActive:0"});
    fx->setProcessing(false);
    fx->release();
}

} // namespace
} // namespace Quillmark::MiniEngine
