#include "devices/ports/pportdescriptor.h"

namespace Quillmark
{

PPortDescriptor::PPortDescriptor(const PPort& port)
    : type(port.getType()), subtype(port.getSubtype()), userName(port.getUserName()),
      role(port.getRole())
{
    port.getUniqueName(sysName);
}

void PPortDescriptor::store(FAttributes& attributes) const
{
    attributes.setString("Type", type.c_str());
    attributes.setString("Subtype", subtype.c_str());
    attributes.setString("SysName", sysName.getText().c_str());
    attributes.setString("UserName", userName);
    attributes.setInt("Role", role);
}

bool PPortDescriptor::restore(const FAttributes& attributes)
{
    String typeText, subtypeText, nameText;
    if (!attributes.getString("Type", typeText) || typeText.isEmpty() ||
        !attributes.getString("SysName", nameText))
        return false;
    const PPortID id = PPortID::fromText(nameText);
    if (!id.isValid())
        return false;
    type = typeText.toUtf8();
    subtype = attributes.getString("Subtype", subtypeText) ? subtypeText.toUtf8() : "";
    sysName = id;
    if (!attributes.getString("UserName", userName))
        userName = String();
    int64 storedRole = PPort::kNoRole;
    role = attributes.getInt("Role", storedRole) ? int32(storedRole) : PPort::kNoRole;
    return true;
}

bool PPortDescriptor::matches(const PPort& port) const
{
    PPortID id;
    return port.isType(type.c_str()) && port.getUniqueName(id) && id == sysName;
}

PAliasPort::PAliasPort(const PPortDescriptor& descriptor)
    : PPort(nullptr, descriptor.sysName.getPortName().c_str(), "audio", "alias",
            descriptor.sysName.isInput() ? uint32(kInputPin) : 0u),
      descriptor(descriptor)
{
    setDeviceName(descriptor.sysName.getDeviceName().c_str());
    setRole(descriptor.role);
    setUserName(descriptor.userName);
    setEnabled(false);
}

bool PAliasPort::getUniqueName(PPortID& id) const
{
    id = descriptor.sysName;
    return id.isValid();
}

} // namespace Quillmark
