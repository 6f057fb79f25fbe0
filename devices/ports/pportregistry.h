// The one registry of all ports of the process: finds them by unique name, tells listeners about
// removal, renaming, enabling and connections, keeps the connections of a missing device on alias
// ports, and keeps the "Port Setup" settings (user names, hidden ports, and the mapping of
// missing system ports to others). Lives on the user interface thread.
#pragma once

#include "base/fdefaults.h"
#include "devices/ports/pportdescriptor.h"

#include <string>
#include <vector>

namespace Quillmark
{

/** One reassignment: connections meant for the port `source` go to `dest`. */
class PPortIDMapping : public CmObject
{
    QEL_DECLARE_CLASS(PPortIDMapping, CmObject)
public:
    PPortIDMapping(const PPortID& source, const PPortID& dest) : source(source), dest(dest) {}
    PPortID source;
    PPortID dest;
};

class PPortRegistry : public CmObject
{
    QEL_DECLARE_CLASS(PPortRegistry, CmObject)
public:
    static constexpr const char8* kSetupSection = "Port Setup";
    static constexpr const char8* kSetupName = "PortSetup";

    PPortRegistry() = default;
    ~PPortRegistry() override;
    PPortRegistry(const PPortRegistry&) = delete;
    PPortRegistry& operator=(const PPortRegistry&) = delete;

    /** The process-wide registry. */
    static PPortRegistry* instance();

    /** Registers `port` (borrowed): it gets its port id and bit 2. A port that asks to be
        registered with an unchanged unique name replaces nothing; false for null or a port
        registered already. The stored settings (user name, hidden) are applied. */
    bool addPort(PPort* port);
    /** Clears bit 2, forgets the port, tells the mapping of a system port, and notifies 100. */
    bool removePort(PPort* port);
    /** The port with exactly that unique name; with no such port, the port a mapping names. */
    PPort* findPort(const PPortID& id) const;
    int32 getPortCount() const { return int32(ports.size()); }
    PPort* getPort(int32 index) const;

    /** Listeners are borrowed and must remove themselves before they go. */
    void addListener(IPortRegistryNotification* listener);
    void removeListener(IPortRegistryNotification* listener);
    void notify(PPort* port, int32 code);

    /** Before the device of `devicePorts` goes away: the connections of each connected port
        move to an alias of the same unique name, made and registered when there is none. */
    void keepConnections(const std::vector<PPort*>& devicePorts);
    /** A port appeared: an audio alias with connections that describes it gives them back, and
        is checked for removal later through the message "CheckAliasPort". */
    void portAppeared(PPort* port);
    int32 getAliasCount() const { return int32(aliases.size()); }
    PAliasPort* getAlias(int32 index) const;
    PAliasPort* findAlias(const PPortID& id) const;

    /** Pairs the ports of an old device with those of its replacement, by user name, then by
        role, then in order, and moves every connection of each old port to its partner. */
    static void moveConnections(std::vector<PPort*> from, std::vector<PPort*> to);
    /** Moves the connections of `source` to `dest`. */
    static void moveConnections(PPort* source, PPort* dest);
    /** Display order: negative when `a` comes before `b`, 0 for ports of one device. */
    static int32 comparePorts(const PPort& a, const PPort& b);

    /** Reassigns a missing system port; an empty `dest` removes the mapping. */
    void setMapping(const PPortID& source, const PPortID& dest);
    int32 getMappingCount() const { return int32(mappings.size()); }
    const PPortIDMapping* getMapping(int32 index) const;

    /** Marks a port as hidden in the dialogs; kept in the settings by unique name. */
    void setHidden(const PPortID& id, bool hidden);
    bool isHidden(const PPortID& id) const;

    /** Writes the settings as attribute "PortSetup" in the section "Port Setup". */
    void storeSetup(FDefaultPool& pool) const;
    /** Reads them back; a damaged text keeps what was readable and sets `problem`. */
    bool restoreSetup(FDefaultPool& pool, std::string* problem = nullptr);
    /** The same from the text of the "PortSetup" attribute. */
    bool restoreSetupText(const void* data, size_t size, std::string* problem = nullptr);

    void notify(FMessage* message) override;

private:
    struct PortSetting
    {
        PPortID id;
        String userName;
        bool hidden = false;
    };

    PortSetting* findSetting(const PPortID& id);
    const PortSetting* findSetting(const PPortID& id) const;
    void removeAlias(PAliasPort* alias);
    std::string setupText() const;

    std::vector<PPort*> ports;
    std::vector<PAliasPort*> aliases; // owned, one reference each
    std::vector<IPortRegistryNotification*> listeners;
    std::vector<PPortIDMapping*> mappings; // owned
    std::vector<PortSetting> settings;
    int32 nextPortId = 0;
    bool inNotify = false;
};

} // namespace Quillmark
