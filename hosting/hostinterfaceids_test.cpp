#include "base/fuid.h"
#include "qel3/icomponenthandler.h"
#include "qel3/iconnectionpoint.h"
#include "qel3/icontextmenu.h"
#include "qel3/imessage.h"
#include "qel3/istreamattributes.h"
#include "qel3/iunithandler.h"

#include <gtest/gtest.h>

#include <utility>

using namespace Quillmark;
using namespace Quillmark::Qel;

namespace
{

// The identifiers of what the host offers a plug-in are wire data: one wrong byte and a
// module built elsewhere never finds the interface.
TEST(HostInterfaceIdentifiers, MatchTheirPublishedText)
{
    const std::pair<const QelUid*, const char*> table[] = {
        {&IConnectionPoint::iid, "{70A4156F-6E6E-4026-9891-48BFAA60D8D1}"},
        {&IMessage::iid, "{936F033B-C6C0-47DB-BB08-82F813C1E613}"},
        {&IAttributeList::iid, "{1E5F0AEB-CC7F-4533-A254-401138AD5EE4}"},
        {&IStreamAttributes::iid, "{D6CE2FFC-EFAF-4B8C-9E74-F1BB12DA44B4}"},
        {&IComponentHandler::iid, "{93A0BEA3-0BD0-45DB-8E89-0B0CC1E46AC6}"},
        {&IComponentHandler2::iid, "{F040B4B3-A360-45EC-ABCD-C045B4D5A2CC}"},
        {&IComponentHandler3::iid, "{69F11617-D26B-400D-A4B6-B9647B6EBBAB}"},
        {&IUnitHandler::iid, "{4B5147F8-4654-486B-8DAB-30BA163A3C56}"},
        {&IContextMenu::iid, "{2E93C863-0C9C-4588-97DB-ECF5AD17817D}"},
        {&IContextMenuTarget::iid, "{3CDF2E75-85D3-4144-BF86-D36BD7C4894D}"},
    };
    for (const auto& [uid, text] : table)
        EXPECT_EQ(FUID(*uid).toRegistryString(), text);
}

} // namespace
