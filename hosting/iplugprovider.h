// The host's own interface through which a test obtains a plug-in's two halves and gives them
// back. It is never offered to plug-ins. Implemented by PlugProvider.
#pragma once

#include "base/fstring.h"
#include "qel3/funknown.h"

namespace Quillmark
{
namespace Qel
{

class IComponent;
class IEditController;

class IPlugProvider : public FUnknown
{
public:
    /** The component with a reference for the caller, or null. */
    virtual IComponent* getComponent() = 0;
    /** The edit controller with a reference for the caller, or null. */
    virtual IEditController* getController() = 0;
    /** Gives back what getComponent and getController handed out; either may be null. */
    virtual tresult releasePlugIn(IComponent* component, IEditController* controller) = 0;
    /** The "|"-separated sub-categories of the class. */
    virtual tresult getSubCategories(String& result) = 0;

    QEL_INTERFACE_IID(0x1CF51FE3, 0xAC0946D7, 0xA94C0CF0, 0xB02B2233);
};

} // namespace Qel
} // namespace Quillmark
