// Test support for the value classes: a dependent that records the messages of one object,
// registered with the process-wide update handler, and an owner that keeps the messages sent
// to it. Both live on the stack of a test and are never released to zero.
#pragma once

#include "base/fmessage.h"
#include "base/updatehandler.h"
#include "base/values/uvalue.h"

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

namespace Quillmark::testing
{

class ChangeRecorder : public CmObject
{
public:
    /** With `letGoOnEnd` the recorder removes itself when `watched` announces its end, as a
        dependent must; without, it stays registered, and only its destructor removes it from
        every object, without touching the one that ended. */
    explicit ChangeRecorder(FUnknown* watched, bool letGoOnEnd = true)
        : watched(watched), letGoOnEnd(letGoOnEnd)
    {
        UpdateHandler::instance()->addDependent(watched, this);
    }
    ~ChangeRecorder() override
    {
        if (watched)
            UpdateHandler::instance()->removeDependent(watched, this);
        else if (ended && !letGoOnEnd)
            UpdateHandler::instance()->removeDependent(nullptr, this);
    }
    ChangeRecorder(const ChangeRecorder&) = delete;
    ChangeRecorder& operator=(const ChangeRecorder&) = delete;

    using CmObject::update;
    void update(FUnknown* changedUnknown, int32 message) override
    {
        messages.push_back(message);
        if (onMessage)
            onMessage(message);
        if (message == kDestroyed && watched)
        {
            if (letGoOnEnd)
                UpdateHandler::instance()->removeDependent(watched, this);
            watched = nullptr;
            ended = true;
        }
    }

    int32 count(int32 message) const
    {
        return int32(std::count(messages.begin(), messages.end(), message));
    }
    bool isWatching() const { return watched != nullptr; }
    /** Stops watching an object that is still alive. */
    void detach()
    {
        if (watched)
            UpdateHandler::instance()->removeDependent(watched, this);
        watched = nullptr;
    }

    std::vector<int32> messages;
    /** Runs inside update, for checks at the moment of a message. */
    std::function<void(int32)> onMessage;

private:
    FUnknown* watched;
    bool letGoOnEnd;
    bool ended = false;
};

class MessageSink : public CmObject
{
public:
    struct Received
    {
        std::string name;
        UValue* value; // borrowed from the message; valid while the test holds the value
        bool valueWasEditing;
    };

    void notify(FMessage* message) override
    {
        auto* value = FCast<UValue>(message->getObject("Value"));
        received.push_back({message->getName().toUtf8(), value, value && value->isEditing()});
    }

    std::vector<Received> received;
};

} // namespace Quillmark::testing
