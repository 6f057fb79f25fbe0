// A port: one end of an audio or MIDI connection, whether it is a channel of a driver, a pin of a
// plug-in or a MIDI socket. Connections are two-sided and not owning; the owner of a port (its
// device or operator) owns it, and a port takes itself out of every connection when it goes.
#pragma once

#include "base/fobject.h"
#include "base/fstring.h"
#include "devices/ports/pportid.h"
#include "qelhost/iport.h"

#include <vector>

namespace Quillmark
{

class PPortRegistry;

class PPort : public CmObject, public IPort
{
    QEL_DECLARE_CLASS(PPort, CmObject)
public:
    enum Flags : uint32
    {
        kInputPin = 1u << 0,   // a sink: an input pin of its owner
        kBuilt = 1u << 1,      // the base state of every port that has been built
        kRegistered = 1u << 2, // known to a PPortRegistry
        kDisabled = 1u << 3,
        kInactive = 1u << 5, // device ports only: no active port is connected
        kHardware = 1u << 6, // belongs to a hardware device
    };
    /** The role of a port that has none; ignored when connections move between devices. */
    static constexpr int32 kNoRole = 0x7fffffff;

    /** `owner` is borrowed (the device or operator); `type` and `subtype` are static texts. */
    PPort(FUnknown* owner, const ConstString& name, const char8* type = "audio",
          const char8* subtype = "virtual", uint32 flags = 0);
    ~PPort() override;

    virtual const char8* getType() const { return type; }
    virtual const char8* getSubtype() const { return subtype; }
    /** "I" or "O", the device name and the port name; false when one of them is empty. */
    virtual bool getUniqueName(PPortID& id) const;
    virtual void getName(String& result) const { result = name; }
    virtual const String& getUserName() const { return userName; }
    virtual void setUserName(const String& newName);
    /** Both sides, or neither: a refusal of the other side undoes this one. */
    virtual bool connect(PPort* other);
    virtual bool disconnect(PPort* other);
    virtual void disconnectAll();
    virtual int32 getConnectionCount() const { return int32(connections.size()); }
    virtual PPort* getConnection(int32 index) const;
    /** One side of a connection; refuses null, itself and a port already connected. */
    virtual bool addConnection(PPort* other);
    virtual bool removeConnection(PPort* other);
    /** The middle part of the unique name: the name of the device or operator. */
    virtual String getDeviceName() const { return deviceName; }

    /** Renames the port; a registered port whose name changes tells the listeners (101). */
    void setName(const ConstString& newName);
    void setDeviceName(const ConstString& newName) { deviceName = newName; }
    const String& getNameText() const { return name; }
    bool isConnectedTo(const PPort* other) const;
    uint32 getFlags() const { return flags; }
    bool isInputPin() const { return (flags & kInputPin) != 0; }
    bool isRegistered() const { return (flags & kRegistered) != 0; }
    bool isInactive() const { return (flags & kInactive) != 0; }
    /** -1 until the port is registered; then a number unique in the process. */
    int32 getPortId() const { return portId; }
    FUnknown* getOwner() const { return owner; }
    int32 getRole() const { return role; }
    void setRole(int32 newRole) { role = newRole; }
    PPortRegistry* getRegistry() const { return registry; }

    // IPort
    bool isType(const char8* name) const override;
    bool isSubtype(const char8* name) const override;
    bool isEnabled() const override { return (flags & kDisabled) == 0; }
    /** A change tells the listeners (102). */
    void setEnabled(bool state) override;

    // FUnknown
    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

protected:
    /** After every change of the connections: tells the listeners (103) and, for a port of a
        hardware device, recomputes its inactive bit. */
    virtual void connectionsChanged();
    /** A hardware port's inactive bit changed; a driver port passes it on to the driver. */
    virtual void activeChanged(bool active) {}
    void notify(int32 code);

private:
    friend class PPortRegistry;

    FUnknown* owner;
    std::vector<PPort*> connections; // in the order of connection
    uint32 flags;
    String name;
    String userName;
    int32 portId = -1;
    const char8* type;
    const char8* subtype;
    String deviceName;
    int32 role = kNoRole;
    PPortRegistry* registry = nullptr;
};

/** A sink and a source: the two directions of a plain port. */
class PInput : public PPort
{
    QEL_DECLARE_CLASS(PInput, PPort)
public:
    PInput(FUnknown* owner, const ConstString& name, const char8* type = "audio",
           const char8* subtype = "virtual", uint32 flags = 0)
        : PPort(owner, name, type, subtype, flags | kInputPin)
    {
    }
};

class POutput : public PPort
{
    QEL_DECLARE_CLASS(POutput, PPort)
public:
    POutput(FUnknown* owner, const ConstString& name, const char8* type = "audio",
            const char8* subtype = "virtual", uint32 flags = 0)
        : PPort(owner, name, type, subtype, flags & ~uint32(kInputPin))
    {
    }
};

} // namespace Quillmark
