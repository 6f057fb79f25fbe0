#include "devices/midi/pmidiports.h"

#include "qelhost/imidieventreceiver.h"

namespace Quillmark
{

PMidiInput::PMidiInput(FUnknown* owner, const ConstString& name, const char8* subtype, uint32 flags)
    : PInput(owner, name, "midi", subtype, flags)
{
}

PMidiInput::~PMidiInput()
{
    disconnectAll();
}

void PMidiInput::receive(PEvent* event)
{
    FUnknown* owner = getOwner();
    if (!owner || !event)
        return;
    IMidiEventReceiver* receiver = nullptr;
    if (owner->queryInterface(IMidiEventReceiver::iid.bytes, reinterpret_cast<void**>(&receiver)) ==
            kResultOk &&
        receiver)
    {
        receiver->receiveMidiEvent(event);
        receiver->release();
    }
}

PMidiOutput::PMidiOutput(FUnknown* owner, const ConstString& name, const char8* subtype,
                         uint32 flags)
    : POutput(owner, name, "midi", subtype, flags)
{
}

PMidiOutput::~PMidiOutput()
{
    disconnectAll();
}

void PMidiOutput::deliver(PEvent* event)
{
    if (!event)
        return;
    FGuard guard(targetLock);
    for (const Target& target : targets)
    {
        if (target.input)
            target.input->receive(event);
        else if (target.receiver)
            target.receiver->receiveMidiEvent(event);
    }
}

int32 PMidiOutput::countReceivers() const
{
    FGuard guard(targetLock);
    return int32(targets.size());
}

bool PMidiOutput::removeConnection(PPort* other)
{
    const bool removed = POutput::removeConnection(other);
    FGuard guard(targetLock);
    for (auto target = targets.begin(); target != targets.end();)
        target = target->port == other ? targets.erase(target) : target + 1;
    return removed;
}

void PMidiOutput::connectionsChanged()
{
    std::vector<Target> found;
    for (int32 i = 0; i < getConnectionCount(); ++i)
    {
        PPort* port = getConnection(i);
        if (!port || !port->isType("midi"))
            continue;
        Target target;
        target.port = port;
        target.input = FCast<PMidiInput>(static_cast<FObject*>(port));
        if (!target.input)
        {
            // A port that takes events itself comes first; otherwise its owner takes them.
            FUnknown* owner = port->getOwner();
            void* receiver = nullptr;
            if (port->queryInterface(IMidiEventReceiver::iid.bytes, &receiver) == kResultOk ||
                (owner &&
                 owner->queryInterface(IMidiEventReceiver::iid.bytes, &receiver) == kResultOk))
            {
                target.receiver = static_cast<IMidiEventReceiver*>(receiver);
                target.receiver->release(); // the port and its owner outlive the connection
            }
            else
                target.receiver = nullptr;
        }
        if (target.input || target.receiver)
            found.push_back(target);
    }
    {
        FGuard guard(targetLock);
        targets.swap(found);
    }
    POutput::connectionsChanged();
}

} // namespace Quillmark
