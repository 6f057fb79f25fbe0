// The choice of what one port is connected to, as a menu value that a view binds to: the ports
// of the same system and the other direction, in display order, and "None". Choosing an entry
// connects the port to it alone; the label shows the first connection and, when there are
// more, how many more. The value follows the registry: any change of ports or connections
// brings it up to date on the next turn of the main loop ("ResyncToPort"). Owned by the
// controller of the view; it borrows the port and the registry, which outlive it.
#pragma once

#include "base/values/umenuvalue.h"
#include "devices/ports/pport.h"

#include <vector>

namespace Quillmark
{

class PPortRegistry;

class PPortValue : public UMenuValue, public IPortRegistryNotification
{
    QEL_DECLARE_CLASS(PPortValue, UMenuValue)
public:
    static constexpr const char8* kResyncToPort = "ResyncToPort";
    static constexpr const char8* kNoneTitle = "None";

    PPortValue(const ConstString& name, int32 tag, PPortRegistry* registry, PPort* port);
    ~PPortValue() override;

    /** Rebuilds the entries from the registry and selects the port's first connection. */
    void resyncToPort();
    /** The port this value connects. */
    PPort* getPort() const { return port; }
    /** The port of the chosen entry, or null for "None". */
    PPort* getChosenPort() const;
    /** The title of an entry for `candidate`: its user name, else "<device>: <name>". */
    static String titleOf(const PPort& candidate);

    /** The chosen title; with more than one connection followed by " (+n)...". */
    void getText(String& text) const override;
    /** "ResyncToPort" */
    void notify(FMessage* message) override;
    /** The user's choice: the port is connected to the chosen one alone. */
    void changed(int32 message = kChanged) override;

    // IPortRegistryNotification
    void portNotification(IPort* changedPort, int32 code) override;

    // FUnknown
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

private:
    PPortRegistry* registry;
    PPort* port;
    std::vector<PPort*> candidates; // entry n + 1 is candidates[n]; borrowed
    bool resyncing = false;
    bool resyncPosted = false;
};

} // namespace Quillmark
