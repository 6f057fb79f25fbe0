#include "devices/midi/pmidiinterface.h"

#include "base/fdefaults.h"
#include "base/fmessage.h"
#include "base/platform/clock.h"
#include "base/platform/threads.h"
#include "midi/pmidifiltersetup.h"

#include <algorithm>
#include <chrono>

namespace Quillmark
{

MidiDriverOptions MidiDriverOptions::fromArguments(const std::vector<std::string>& arguments)
{
    MidiDriverOptions options;
    for (const std::string& argument : arguments)
    {
        if (argument == "ignoreportfilter")
        {
            options.ignorePortFilter = true;
            break;
        }
        if (argument == "enableemulated")
            options.enableEmulated = true;
    }
    return options;
}

PMidiInterface::PMidiInterface(const ConstString& name, const char8* settingsSection,
                               PPortRegistry* registry)
    : PDevice(name, true, registry), settingsSection(settingsSection)
{
}

PMidiInterface::~PMidiInterface()
{
    stopScheduler();
}

void PMidiInterface::close()
{
    deactivateAll();
    stopScheduler();
}

bool PMidiInterface::passesFilter(const MidiSupport::PMidiFilterSetup* filter, const uint8* bytes,
                                  int32 size)
{
    if (!filter || size < 2 || (bytes[0] & 0xF0) != 0xB0)
        return true;
    return !filter->isControllerOn(bytes[1] & 0x7F);
}

PHWMidiInSocket* PMidiInterface::addInputSocket(PHWMidiInSocket* socket)
{
    adoptPort(socket);
    FGuard guard(inputListLock);
    inputSockets.push_back(socket);
    return socket;
}

PMidiOutSocket* PMidiInterface::addOutputSocket(PMidiOutSocket* socket)
{
    adoptPort(socket);
    FGuard guard(outputListLock);
    outputSockets.push_back(socket);
    return socket;
}

void PMidiInterface::deactivateAll()
{
    std::vector<PHWMidiInSocket*> inputs;
    std::vector<PMidiOutSocket*> outputs;
    {
        FGuard guard(inputListLock);
        inputs = inputSockets;
    }
    {
        FGuard guard(outputListLock);
        outputs = outputSockets;
    }
    for (PHWMidiInSocket* socket : inputs)
        socket->deactivate();
    for (PMidiOutSocket* socket : outputs)
        socket->deactivate();
}

int32 PMidiInterface::countInputSockets() const
{
    FGuard guard(inputListLock);
    return int32(inputSockets.size());
}

int32 PMidiInterface::countOutputSockets() const
{
    FGuard guard(outputListLock);
    return int32(outputSockets.size());
}

PHWMidiInSocket* PMidiInterface::getInputSocket(int32 index) const
{
    FGuard guard(inputListLock);
    return index >= 0 && index < int32(inputSockets.size()) ? inputSockets[size_t(index)] : nullptr;
}

PMidiOutSocket* PMidiInterface::getOutputSocket(int32 index) const
{
    FGuard guard(outputListLock);
    return index >= 0 && index < int32(outputSockets.size()) ? outputSockets[size_t(index)]
                                                             : nullptr;
}

PHWMidiInSocket* PMidiInterface::findInputSocket(const ConstString& name) const
{
    FGuard guard(inputListLock);
    for (PHWMidiInSocket* socket : inputSockets)
        if (socket->getNameText() == name)
            return socket;
    return nullptr;
}

PMidiOutSocket* PMidiInterface::findOutputSocket(const ConstString& name) const
{
    FGuard guard(outputListLock);
    for (PMidiOutSocket* socket : outputSockets)
        if (socket->getNameText() == name)
            return socket;
    return nullptr;
}

void PMidiInterface::startScheduler()
{
    std::lock_guard<std::mutex> guard(schedulerMutex);
    if (schedulerRun)
        return;
    schedulerRun = true;
    nextEventTime = PMidiOutSocket::kNothingPending;
    scheduler = std::thread([this] { schedulerLoop(); });
}

void PMidiInterface::stopScheduler()
{
    {
        std::lock_guard<std::mutex> guard(schedulerMutex);
        if (!schedulerRun)
            return;
        schedulerRun = false;
    }
    schedulerWake.notify_all();
    if (scheduler.joinable())
        scheduler.join();
}

bool PMidiInterface::isSchedulerRunning() const
{
    std::lock_guard<std::mutex> guard(schedulerMutex);
    return schedulerRun;
}

void PMidiInterface::wakeScheduler(double eventTime)
{
    {
        std::lock_guard<std::mutex> guard(schedulerMutex);
        if (!schedulerRun || eventTime >= nextEventTime)
            return;
        nextEventTime = eventTime;
        wakeRequested = true;
    }
    schedulerWake.notify_one();
}

void PMidiInterface::schedulerLoop()
{
    int32 seenGeneration = 0;
    applyPriority(seenGeneration);
    std::unique_lock<std::mutex> lock(schedulerMutex);
    while (schedulerRun)
    {
        schedulerWake.wait_for(lock, std::chrono::milliseconds(kSchedulerWakeMs),
                               [this] { return wakeRequested || !schedulerRun; });
        wakeRequested = false;
        if (!schedulerRun)
            break;
        // Sends during the round below lower this again and ask for another round at once.
        nextEventTime = PMidiOutSocket::kNothingPending;
        lock.unlock();
        applyPriority(seenGeneration);
        const double now = platform::seconds();
        double next = PMidiOutSocket::kNothingPending;
        for (int32 i = 0;; ++i)
        {
            PMidiOutSocket* socket = getOutputSocket(i);
            if (!socket)
                break;
            next = std::min(next, socket->sendDueEvents(now));
        }
        schedulerRounds.fetch_add(1);
        lock.lock();
        nextEventTime = std::min(next, nextEventTime);
    }
    lock.unlock();
    platform::RealtimeThreadClass::leave();
}

void PMidiInterface::setPriorityBoost(bool boost)
{
    if (priorityBoost.exchange(boost) != boost)
        priorityGeneration.fetch_add(1);
}

void PMidiInterface::applyPriority(int32& seenGeneration) const
{
    const int32 generation = priorityGeneration.load();
    if (generation == seenGeneration)
        return;
    seenGeneration = generation;
    platform::RealtimeThreadClass::enter(priorityBoost.load());
}

void PMidiInterface::notify(FMessage* message)
{
    if (message && message->is("UpdatePriority"))
    {
        int64 level = 0;
        message->getInt("level", level);
        setPriorityBoost(level > 0);
        return;
    }
    PDevice::notify(message);
}

void PMidiInterface::restoreSettings(FDefaultPool& pool)
{
    if (FDefaults* section = pool.lookup(settingsSection, 1, false))
    {
        int64 value = 0;
        if (section->getInt(kUseSystemTimestampKey, value))
            setUseSystemTimestamp(value == 1);
    }
    const std::string deviceSection = getName().toUtf8();
    FDefaults* older = pool.lookup(deviceSection.c_str(), 1, false);
    if (!older)
        return;
    const auto apply = [older](PPort* port, const char8* prefix, const char8* flagPrefix)
    {
        const std::string name = port->getNameText().toUtf8();
        const std::string nameKey = std::string(prefix) + name;
        const std::string flagKey = std::string(flagPrefix) + name;
        String userName;
        if (older->getString(nameKey.c_str(), userName) && !userName.isEmpty())
            port->setUserName(userName);
        int64 inactive = 0;
        if (older->getInt(flagKey.c_str(), inactive))
            port->setEnabled(inactive != 1);
    };
    for (int32 i = 0; i < countInputSockets(); ++i)
        apply(getInputSocket(i), "In ", "In Flags ");
    for (int32 i = 0; i < countOutputSockets(); ++i)
        apply(getOutputSocket(i), "Out ", "Out Flags ");
    pool.removeGroup(deviceSection.c_str());
}

void PMidiInterface::storeSettings(FDefaultPool& pool) const
{
    if (FDefaults* section = pool.lookup(settingsSection))
        section->setInt(kUseSystemTimestampKey, usesSystemTimestamp() ? 1 : 0);
}

} // namespace Quillmark
