#include "conformity/scan/qeleditorclassestest.h"

#include "base/fuid.h"
#include "conformity/scan/scansupport.h"

namespace Quillmark
{
namespace Qel
{

bool QelEditorClassesTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);

    if (Queried<IEditController>(plug))
    {
        addMessage(result, "Processor and edit controller united.");
        return true;
    }
    TUID classId = {};
    if (plug->getControllerClassId(classId) != kResultOk)
    {
        addMessage(result, "This component does not export an edit controller class ID!!!");
        return true;
    }
    const FUID controllerClass(classId);
    if (!controllerClass.isValid())
    {
        addError(result, "The edit controller class has no valid UID!!!");
        return false;
    }
    addMessage(result, "This component has an edit controller class");
    addMessage(result, String::format("   Controller CID: %s", controllerClass.toString().c_str()));
    return true;
}

} // namespace Qel
} // namespace Quillmark
