#include "devices/ports/pportregistry.h"

#include "base/fmainloop.h"
#include "base/fmessage.h"
#include "base/fstreams.h"
#include "base/singleton.h"

#include <algorithm>
#include <cstring>

namespace Quillmark
{

namespace
{

constexpr const char8* kCheckAliasPort = "CheckAliasPort";

/** Place of a subtype in the display order; ports of other kinds come last. */
int32 subtypeRank(const PPort& port)
{
    static constexpr const char8* order[] = {"merged", "virtual", "proxy",
                                             "system", "extern",  "side"};
    for (int32 rank = 0; rank < int32(std::size(order)); ++rank)
        if (port.isSubtype(order[rank]))
            return rank;
    return int32(std::size(order));
}

} // namespace

PPortRegistry::~PPortRegistry()
{
    for (PPort* port : ports)
    {
        port->flags &= ~uint32(PPort::kRegistered);
        port->registry = nullptr;
    }
    ports.clear();
    for (PAliasPort* alias : aliases)
    {
        alias->disconnectAll();
        alias->registry = nullptr;
        alias->flags &= ~uint32(PPort::kRegistered);
        alias->release();
    }
    for (PPortIDMapping* mapping : mappings)
        mapping->release();
    // At the end of the process the main loop may be gone before the registry.
    if (FMainLoop* loop = FMainLoop::instance())
        loop->cancel(this);
}

PPortRegistry* PPortRegistry::instance()
{
    return singletonInstance<PPortRegistry>();
}

bool PPortRegistry::addPort(PPort* port)
{
    if (!port || port->registry)
        return false;
    port->registry = this;
    port->flags |= PPort::kRegistered;
    port->portId = nextPortId++;
    ports.push_back(port);
    PPortID id;
    if (port->getUniqueName(id))
        if (const PortSetting* setting = findSetting(id))
        {
            if (!setting->userName.isEmpty() && setting->userName != port->getUserName())
                port->setUserName(setting->userName);
        }
    return true;
}

bool PPortRegistry::removePort(PPort* port)
{
    const auto found = std::find(ports.begin(), ports.end(), port);
    if (!port || found == ports.end())
        return false;
    port->flags &= ~uint32(PPort::kRegistered);
    ports.erase(found);
    // A system port that goes away is remembered under its name, so a user name or a mapping
    // given to it survives until the port is back.
    PPortID id;
    if (port->isSubtype("system") && port->getUniqueName(id) && !port->getUserName().isEmpty())
    {
        if (PortSetting* setting = findSetting(id))
            setting->userName = port->getUserName();
        else
            settings.push_back({id, port->getUserName(), false});
    }
    notify(port, IPortRegistryNotification::kPortRemoved);
    port->registry = nullptr;
    return true;
}

PPort* PPortRegistry::findPort(const PPortID& id) const
{
    if (!id.isValid())
        return nullptr;
    for (PPort* port : ports)
    {
        PPortID portId;
        if (!port->isSubtype("alias") && port->getUniqueName(portId) && portId == id)
            return port;
    }
    for (const PPortIDMapping* mapping : mappings)
        if (mapping->source == id && mapping->dest != id)
            for (PPort* port : ports)
            {
                PPortID portId;
                if (!port->isSubtype("alias") && port->getUniqueName(portId) &&
                    portId == mapping->dest)
                    return port;
            }
    return nullptr;
}

PPort* PPortRegistry::getPort(int32 index) const
{
    return index >= 0 && index < int32(ports.size()) ? ports[size_t(index)] : nullptr;
}

void PPortRegistry::addListener(IPortRegistryNotification* listener)
{
    if (listener && std::find(listeners.begin(), listeners.end(), listener) == listeners.end())
        listeners.push_back(listener);
}

void PPortRegistry::removeListener(IPortRegistryNotification* listener)
{
    const auto found = std::find(listeners.begin(), listeners.end(), listener);
    if (found != listeners.end())
        *found = nullptr; // compacted after the current notification, if one runs
    if (!inNotify)
        listeners.erase(std::remove(listeners.begin(), listeners.end(), nullptr), listeners.end());
}

void PPortRegistry::notify(PPort* port, int32 code)
{
    const bool outer = !inNotify;
    inNotify = true;
    // Listeners added during a notification hear the next one.
    const size_t count = listeners.size();
    for (size_t i = 0; i < count && i < listeners.size(); ++i)
        if (IPortRegistryNotification* listener = listeners[i])
            listener->portNotification(port, code);
    if (outer)
    {
        inNotify = false;
        listeners.erase(std::remove(listeners.begin(), listeners.end(), nullptr), listeners.end());
    }
}

void PPortRegistry::keepConnections(const std::vector<PPort*>& devicePorts)
{
    for (PPort* port : devicePorts)
    {
        if (!port || port->getConnectionCount() == 0)
            continue;
        PPortID id;
        if (!port->getUniqueName(id))
            continue;
        PAliasPort* alias = findAlias(id);
        if (!alias)
        {
            alias = new PAliasPort(PPortDescriptor(*port));
            aliases.push_back(alias);
            addPort(alias);
        }
        moveConnections(port, alias);
        alias->setEnabled(false);
    }
}

void PPortRegistry::portAppeared(PPort* port)
{
    if (!port || port->isSubtype("alias"))
        return;
    for (PAliasPort* alias : std::vector<PAliasPort*>(aliases))
    {
        if (!alias->isType("audio") || alias->getConnectionCount() == 0 ||
            !alias->getDescriptor().matches(*port))
            continue;
        moveConnections(alias, port);
        auto* message = new FMessage(kCheckAliasPort);
        message->setObject("Port", static_cast<IPort*>(alias));
        if (FMainLoop* loop = FMainLoop::instance())
            loop->post(this, message);
        message->release();
    }
}

PAliasPort* PPortRegistry::getAlias(int32 index) const
{
    return index >= 0 && index < int32(aliases.size()) ? aliases[size_t(index)] : nullptr;
}

PAliasPort* PPortRegistry::findAlias(const PPortID& id) const
{
    for (PAliasPort* alias : aliases)
        if (alias->getDescriptor().sysName == id)
            return alias;
    return nullptr;
}

void PPortRegistry::removeAlias(PAliasPort* alias)
{
    const auto found = std::find(aliases.begin(), aliases.end(), alias);
    if (found == aliases.end())
        return;
    aliases.erase(found);
    removePort(alias); // notifies 100
    alias->release();
}

void PPortRegistry::notify(FMessage* message)
{
    if (!message->is(kCheckAliasPort))
        return CmObject::notify(message);
    auto* alias = FCast<PAliasPort>(message->getObject("Port"));
    if (alias && alias->getConnectionCount() == 0)
        removeAlias(alias);
}

void PPortRegistry::moveConnections(PPort* source, PPort* dest)
{
    if (!source || !dest || source == dest)
        return;
    std::vector<PPort*> peers;
    for (int32 i = 0; i < source->getConnectionCount(); ++i)
        peers.push_back(source->getConnection(i));
    source->disconnectAll();
    for (PPort* peer : peers)
        dest->connect(peer);
}

void PPortRegistry::moveConnections(std::vector<PPort*> from, std::vector<PPort*> to)
{
    auto pairBy = [&](auto same)
    {
        for (auto source = from.begin(); source != from.end();)
        {
            auto dest = std::find_if(to.begin(), to.end(),
                                     [&](PPort* candidate) { return same(*source, candidate); });
            if (dest == to.end())
            {
                ++source;
                continue;
            }
            moveConnections(*source, *dest);
            to.erase(dest);
            source = from.erase(source);
        }
    };
    pairBy([](PPort* a, PPort* b)
           { return !a->getUserName().isEmpty() && a->getUserName() == b->getUserName(); });
    pairBy([](PPort* a, PPort* b)
           { return a->getRole() != PPort::kNoRole && a->getRole() == b->getRole(); });
    for (size_t i = 0; i < from.size() && i < to.size(); ++i)
        moveConnections(from[i], to[i]);
}

int32 PPortRegistry::comparePorts(const PPort& a, const PPort& b)
{
    if (a.getOwner() == b.getOwner() && a.getDeviceName() == b.getDeviceName())
        return 0;
    const int32 rankA = subtypeRank(a);
    const int32 rankB = subtypeRank(b);
    if (rankA != rankB)
        return rankA < rankB ? -1 : 1;
    const std::string nameA = a.getDeviceName().toUtf8();
    const std::string nameB = b.getDeviceName().toUtf8();
    const int result = std::strcmp(nameA.c_str(), nameB.c_str());
    return result < 0 ? -1 : result > 0 ? 1 : 0;
}

void PPortRegistry::setMapping(const PPortID& source, const PPortID& dest)
{
    for (auto it = mappings.begin(); it != mappings.end(); ++it)
        if ((*it)->source == source)
        {
            (*it)->release();
            mappings.erase(it);
            break;
        }
    if (source.isValid() && dest.isValid() && source != dest)
        mappings.push_back(new PPortIDMapping(source, dest));
}

const PPortIDMapping* PPortRegistry::getMapping(int32 index) const
{
    return index >= 0 && index < int32(mappings.size()) ? mappings[size_t(index)] : nullptr;
}

void PPortRegistry::setHidden(const PPortID& id, bool hidden)
{
    if (!id.isValid())
        return;
    if (PortSetting* setting = findSetting(id))
        setting->hidden = hidden;
    else if (hidden)
        settings.push_back({id, String(), true});
}

bool PPortRegistry::isHidden(const PPortID& id) const
{
    const PortSetting* setting = findSetting(id);
    return setting && setting->hidden;
}

PPortRegistry::PortSetting* PPortRegistry::findSetting(const PPortID& id)
{
    for (PortSetting& setting : settings)
        if (setting.id == id)
            return &setting;
    return nullptr;
}

const PPortRegistry::PortSetting* PPortRegistry::findSetting(const PPortID& id) const
{
    return const_cast<PPortRegistry*>(this)->findSetting(id);
}

std::string PPortRegistry::setupText() const
{
    // Live ports give their current user names; settings of absent ports are kept.
    std::vector<PortSetting> all = settings;
    for (const PPort* port : ports)
    {
        PPortID id;
        if (port->isSubtype("alias") || !port->getUniqueName(id))
            continue;
        auto found = std::find_if(all.begin(), all.end(),
                                  [&](const PortSetting& setting) { return setting.id == id; });
        if (found != all.end())
            found->userName = port->getUserName();
        else if (!port->getUserName().isEmpty())
            all.push_back({id, port->getUserName(), false});
    }
    FAttributes root;
    FSubList* settingList = root.setSubList("Settings");
    for (const PortSetting& setting : all)
    {
        if (setting.userName.isEmpty() && !setting.hidden)
            continue;
        FAttrList* entry = settingList->add();
        entry->setString("ID", setting.id.getText().c_str());
        entry->setString("UserName", setting.userName);
        entry->setInt("Hidden", setting.hidden ? 1 : 0);
    }
    FSubList* mappingList = root.setSubList("Mappings");
    for (const PPortIDMapping* mapping : mappings)
    {
        FAttrList* entry = mappingList->add();
        entry->setString("SourceID", mapping->source.getText().c_str());
        entry->setString("DestID", mapping->dest.getText().c_str());
    }
    FMemoryStream stream;
    root.writeXml(&stream);
    return std::string(stream.data(), size_t(stream.size()));
}

void PPortRegistry::storeSetup(FDefaultPool& pool) const
{
    if (FDefaults* section = pool.lookup(kSetupSection))
        section->setString(kSetupName, setupText().c_str());
}

bool PPortRegistry::restoreSetup(FDefaultPool& pool, std::string* problem)
{
    FDefaults* section = pool.lookup(kSetupSection, 1, false);
    String text;
    if (!section || !section->getString(kSetupName, text))
        return true;
    const std::string bytes = text.toUtf8();
    return restoreSetupText(bytes.data(), bytes.size(), problem);
}

bool PPortRegistry::restoreSetupText(const void* data, size_t size, std::string* problem)
{
    FAttributes root;
    const bool complete = root.readXml(data, size, problem);
    std::vector<PortSetting> readSettings;
    if (const FSubList* list = root.getSubList("Settings"))
        for (int32 i = 0; i < list->count(); ++i)
        {
            const FAttrList* entry = list->at(i);
            String idText;
            if (!entry || !entry->getString("ID", idText))
                continue;
            PortSetting setting{PPortID::fromText(idText), String(), false};
            if (!setting.id.isValid())
                continue;
            entry->getString("UserName", setting.userName);
            int64 hidden = 0;
            // A flag stored as an integer is set exactly when it is 1.
            setting.hidden = entry->getInt("Hidden", hidden) && hidden == 1;
            readSettings.push_back(setting);
        }
    std::vector<std::pair<PPortID, PPortID>> readMappings;
    if (const FSubList* list = root.getSubList("Mappings"))
        for (int32 i = 0; i < list->count(); ++i)
        {
            const FAttrList* entry = list->at(i);
            String source, dest;
            if (!entry || !entry->getString("SourceID", source) ||
                !entry->getString("DestID", dest))
                continue;
            readMappings.emplace_back(PPortID::fromText(source), PPortID::fromText(dest));
        }
    for (const PortSetting& setting : readSettings)
    {
        if (PortSetting* existing = findSetting(setting.id))
            *existing = setting;
        else
            settings.push_back(setting);
        if (PPort* port = findPort(setting.id))
            if (!setting.userName.isEmpty())
                port->setUserName(setting.userName);
    }
    for (const auto& [source, dest] : readMappings)
        setMapping(source, dest);
    return complete;
}

} // namespace Quillmark
