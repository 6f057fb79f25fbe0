// The one host context of the process: what every plug-in receives in initialize and every
// module factory in setHostContext. A singleton; plug-ins hold counted references to it.
#pragma once

#include "base/fobject.h"
#include "qel3/ihostapplication.h"

#include <string>

namespace Quillmark
{
namespace Qel
{

class QelHostContext : public FObject, public IHostApplication
{
public:
    QelHostContext();

    /** The process-wide instance, or null after process end. */
    static QelHostContext* instance();

    /** The application's display name that plug-ins are told. */
    void setDisplayName(const std::string& name);
    const std::string& getDisplayName() const { return displayName; }

    tresult getName(String128 name) override;
    /** Makes a message when `cid` is the identifier of IMessage, answered for `iid`; any
        other class gives kResultFalse with `obj` untouched. */
    tresult createInstance(TUID cid, TUID iid, void** obj) override;

    tresult queryInterface(const TUID iid, void** obj) override;
    uint32 addRef() override { return FObject::addRef(); }
    uint32 release() override { return FObject::release(); }

    FClassID isTypeName() const override { return "QelHostContext"; }

private:
    std::string displayName;
};

} // namespace Qel
} // namespace Quillmark
