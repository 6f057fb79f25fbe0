// What is known of a port without the port: type, subtype, unique name, user name and role. An
// alias keeps one for the real port it stands for, so that the port can be recognised when its
// device comes back.
#pragma once

#include "base/fattributes.h"
#include "devices/ports/pport.h"

#include <string>

namespace Quillmark
{

class PPortDescriptor : public CmObject
{
    QEL_DECLARE_CLASS(PPortDescriptor, CmObject)
public:
    PPortDescriptor() = default;
    /** Describes `port` as it is now. */
    explicit PPortDescriptor(const PPort& port);

    /** Keys "Type", "Subtype", "SysName", "UserName" and "Role". */
    void store(FAttributes& attributes) const;
    /** False, changing nothing, when the type or the unique name is missing or invalid. */
    bool restore(const FAttributes& attributes);

    /** True when `port` is the described one: the same type and unique name. */
    bool matches(const PPort& port) const;

    std::string type;
    std::string subtype;
    PPortID sysName;
    String userName;
    int32 role = PPort::kNoRole;
};

/** Stands for a port whose device is missing and keeps its connections until the device is
    back. It is disabled, of subtype "alias", and bears the missing port's unique name. */
class PAliasPort : public PPort
{
    QEL_DECLARE_CLASS(PAliasPort, PPort)
public:
    explicit PAliasPort(const PPortDescriptor& descriptor);

    const char8* getType() const override { return descriptor.type.c_str(); }
    bool getUniqueName(PPortID& id) const override;
    const PPortDescriptor& getDescriptor() const { return descriptor; }

private:
    PPortDescriptor descriptor;
};

} // namespace Quillmark
