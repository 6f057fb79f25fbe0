#include "devices/ports/pport.h"

#include "devices/ports/pportregistry.h"

#include <algorithm>
#include <cstring>

namespace Quillmark
{

PPort::PPort(FUnknown* owner, const ConstString& name, const char8* type, const char8* subtype,
             uint32 flags)
    : owner(owner), flags((flags & ~uint32(kRegistered)) | kBuilt), name(name), type(type),
      subtype(subtype)
{
    // A hardware port starts inactive: nothing is connected to it yet.
    if (this->flags & kHardware)
        this->flags |= kInactive;
}

PPort::~PPort()
{
    if (registry)
        registry->removePort(this);
    // The peers must never keep a pointer to a port that is gone.
    while (!connections.empty())
    {
        PPort* other = connections.back();
        connections.pop_back();
        other->removeConnection(this);
    }
}

bool PPort::getUniqueName(PPortID& id) const
{
    id = PPortID(isInputPin(), getDeviceName(), name);
    return id.isValid();
}

void PPort::setUserName(const String& newName)
{
    if (userName == newName)
        return;
    userName = newName;
    notify(IPortRegistryNotification::kPortRenamed);
}

void PPort::setName(const ConstString& newName)
{
    if (name == newName)
        return;
    name = newName;
    notify(IPortRegistryNotification::kPortRenamed);
}

bool PPort::connect(PPort* other)
{
    if (!addConnection(other))
        return false;
    if (!other->addConnection(this))
    {
        removeConnection(other);
        return false;
    }
    connectionsChanged();
    other->connectionsChanged();
    return true;
}

bool PPort::disconnect(PPort* other)
{
    if (!other || !isConnectedTo(other))
        return false;
    removeConnection(other);
    other->removeConnection(this);
    connectionsChanged();
    other->connectionsChanged();
    return true;
}

void PPort::disconnectAll()
{
    const std::vector<PPort*> peers = connections;
    for (PPort* other : peers)
    {
        removeConnection(other);
        other->removeConnection(this);
        other->connectionsChanged();
    }
    if (!peers.empty())
        connectionsChanged();
}

PPort* PPort::getConnection(int32 index) const
{
    return index >= 0 && index < int32(connections.size()) ? connections[size_t(index)] : nullptr;
}

bool PPort::addConnection(PPort* other)
{
    if (!other || other == this || isConnectedTo(other))
        return false;
    connections.push_back(other);
    return true;
}

bool PPort::removeConnection(PPort* other)
{
    const auto found = std::find(connections.begin(), connections.end(), other);
    if (found == connections.end())
        return false;
    connections.erase(found);
    return true;
}

bool PPort::isConnectedTo(const PPort* other) const
{
    return std::find(connections.begin(), connections.end(), other) != connections.end();
}

bool PPort::isType(const char8* name) const
{
    return name && std::strcmp(getType(), name) == 0;
}

bool PPort::isSubtype(const char8* name) const
{
    return name && std::strcmp(getSubtype(), name) == 0;
}

void PPort::setEnabled(bool state)
{
    if (isEnabled() == state)
        return;
    if (state)
        flags &= ~uint32(kDisabled);
    else
        flags |= kDisabled;
    notify(IPortRegistryNotification::kPortEnableChanged);
}

tresult PPort::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IPort)
    return FObject::queryInterface(iid, obj);
}

void PPort::connectionsChanged()
{
    if (flags & kHardware)
    {
        // Active when at least one peer is in use itself.
        const bool active = std::any_of(connections.begin(), connections.end(),
                                        [](const PPort* peer) { return !peer->isInactive(); });
        const bool wasActive = !isInactive();
        if (active)
            flags &= ~uint32(kInactive);
        else
            flags |= kInactive;
        if (active != wasActive)
            activeChanged(active);
    }
    notify(IPortRegistryNotification::kPortConnectionsChanged);
}

void PPort::notify(int32 code)
{
    if (registry)
        registry->notify(this, code);
}

} // namespace Quillmark
