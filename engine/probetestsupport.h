// For engine tests that play the probe plug-in: a registry of their own over a copy of
// fx_probe.so, plug-in instances made through the host's own wrapper, and the probe's records.
#pragma once

#include "base/fmainloop.h"
#include "base/optimaudio/audiokernels.h"
#include "fixtures/probe/iprobe.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/fmodule.h"
#include "hosting/qelcomponent.h"
#include "hosting/testsupport.h"

#include <gtest/gtest.h>

#include <pthread.h>
#include <vector>

namespace Quillmark::testing
{

class ProbeTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        installAudioKernels();
        copyInto(fixture(Qel::Probe::kModule), temp.folder("modules"));
        registry = new FComponentRegistry;
        ASSERT_GT(registry->scanFolder(temp.folder("modules")), 0);
    }

    void TearDown() override
    {
        for (Qel::Probe::IProbe* probe : probes)
            probe->release();
        for (Qel::QelComponent* wrapper : wrappers)
            wrapper->release();
        FMainLoop::instance()->dispatchDue();
        registry->release();
    }

    /** A live, initialized instance of a probe class; the test keeps it until its end. */
    Qel::IComponent* makePlugIn(const QelUid& cid)
    {
        Qel::QelComponent* wrapper = Qel::QelComponent::create(*registry, FUID(cid.bytes));
        if (!wrapper)
            return nullptr;
        wrappers.push_back(wrapper);
        Qel::Probe::IProbe* probe = nullptr;
        wrapper->getComponent()->queryInterface(Qel::Probe::IProbe::iid.bytes, (void**)&probe);
        if (probe) // another plug-in than the probe has no records
            probes.push_back(probe);
        return wrapper->getComponent();
    }

    /** The records of the instance made last. */
    Qel::Probe::IProbe& probe() { return *probes.back(); }

    /** The probe's calls of one kind, as their arguments. */
    static std::vector<int32> arguments(Qel::Probe::IProbe& probe, int32 kind)
    {
        std::vector<int32> result;
        Qel::Probe::Call call{};
        for (int32 i = 0; probe.getCall(i, call); ++i)
            if (call.kind == kind)
                result.push_back(call.argument);
        return result;
    }

    /** The calls other than process, as "kind:argument", in order. */
    static std::vector<std::string> configurationCalls(Qel::Probe::IProbe& probe)
    {
        static const char* names[] = {"setActive",   "setProcessing",      "setupProcessing",
                                      "activateBus", "setBusArrangements", "process"};
        std::vector<std::string> result;
        Qel::Probe::Call call{};
        for (int32 i = 0; probe.getCall(i, call); ++i)
            if (call.kind != Qel::Probe::Call::kProcess)
                result.push_back(std::string(names[call.kind]) + ":" +
                                 std::to_string(call.argument));
        return result;
    }

    TempFolder temp;
    FComponentRegistry* registry = nullptr;
    std::vector<Qel::QelComponent*> wrappers;
    std::vector<Qel::Probe::IProbe*> probes;
};

/** The id the probe records for the calling thread. */
inline uint64 thisThread()
{
    return uint64(pthread_self());
}

} // namespace Quillmark::testing
