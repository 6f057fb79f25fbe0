#include "devices/ports/pportvalue.h"

#include "base/fmainloop.h"
#include "base/fmessage.h"
#include "devices/ports/pportregistry.h"

#include <algorithm>

namespace Quillmark
{

PPortValue::PPortValue(const ConstString& name, int32 tag, PPortRegistry* registry, PPort* port)
    : UMenuValue(name, tag), registry(registry), port(port)
{
    if (registry)
        registry->addListener(this);
    resyncToPort();
}

PPortValue::~PPortValue()
{
    if (registry)
        registry->removeListener(this);
    if (FMainLoop* loop = FMainLoop::instance())
        loop->cancel(this);
}

String PPortValue::titleOf(const PPort& candidate)
{
    if (!candidate.getUserName().isEmpty())
        return candidate.getUserName();
    String title = candidate.getDeviceName();
    String name;
    candidate.getName(name);
    if (title.isEmpty())
        return name;
    title.append(": ");
    title.append(name);
    return title;
}

void PPortValue::resyncToPort()
{
    resyncing = true;
    resyncPosted = false;
    candidates.clear();
    if (registry && port)
        for (int32 i = 0; i < registry->getPortCount(); ++i)
        {
            PPort* candidate = registry->getPort(i);
            if (candidate != port && candidate->isInputPin() != port->isInputPin() &&
                candidate->isType(port->getType()) && !candidate->isSubtype("alias"))
                candidates.push_back(candidate);
        }
    std::stable_sort(candidates.begin(), candidates.end(),
                     [](PPort* a, PPort* b)
                     {
                         const int32 order = PPortRegistry::comparePorts(*a, *b);
                         if (order != 0)
                             return order < 0;
                         return titleOf(*a).compare(titleOf(*b)) < 0;
                     });
    removeAll();
    addEntry(kNoneTitle, -1);
    for (PPort* candidate : candidates)
        addEntry(titleOf(*candidate), candidate->getPortId());
    int32 selected = 0;
    if (port && port->getConnectionCount() > 0)
    {
        const auto found = std::find(candidates.begin(), candidates.end(), port->getConnection(0));
        if (found != candidates.end())
            selected = int32(found - candidates.begin()) + 1;
    }
    entriesChanged();
    setIndex(selected);
    resyncing = false;
    UMenuValue::changed(kStateChanged);
}

PPort* PPortValue::getChosenPort() const
{
    const int32 index = getIndex();
    return index >= 1 && index <= int32(candidates.size()) ? candidates[size_t(index - 1)]
                                                           : nullptr;
}

void PPortValue::getText(String& text) const
{
    UMenuValue::getText(text);
    if (port && port->getConnectionCount() > 1)
        text.append(String::format(" (+%d)...", port->getConnectionCount() - 1));
}

void PPortValue::changed(int32 message)
{
    if (message == kChanged && !resyncing && port)
    {
        // The user chose: this port now goes to the chosen one alone.
        PPort* chosen = getChosenPort();
        resyncing = true;
        port->disconnectAll();
        if (chosen)
            port->connect(chosen);
        resyncing = false;
    }
    UMenuValue::changed(message);
}

void PPortValue::notify(FMessage* message)
{
    if (message->is(kResyncToPort))
        resyncToPort();
    else
        UMenuValue::notify(message);
}

void PPortValue::portNotification(IPort* changedPort, int32 code)
{
    // Our own connecting calls back here; the menu is up to date then.
    if (resyncing || resyncPosted)
        return;
    if (FMainLoop* loop = FMainLoop::instance())
    {
        resyncPosted = true;
        loop->post(this, kResyncToPort);
    }
}

tresult PPortValue::queryInterface(const TUID iid, void** obj)
{
    QEL_QUERY_INTERFACE(iid, obj, IPortRegistryNotification)
    return UMenuValue::queryInterface(iid, obj);
}

} // namespace Quillmark
