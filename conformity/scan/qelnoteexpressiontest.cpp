#include "conformity/scan/qelnoteexpressiontest.h"

#include "conformity/scan/scansupport.h"
#include "qel3/icomponent.h"
#include "qel3/inoteexpression.h"

namespace Quillmark
{
namespace Qel
{

bool QelNoteExpressionTest::run(ITestResult* result)
{
    if (!plug || !result)
        return false;
    addBanner(result);

    auto expressions = controllerFeature<INoteExpressionController>(
        controller, result, "No Note Expression interface supplied!");
    if (!expressions)
        return true;

    return forEachEventInputChannel(
        *plug,
        [&](int32 bus, int16 channel16)
        {
            const int32 channel = channel16;
            const int32 count = expressions->getNoteExpressionCount(bus, channel16);
            if (count <= 0)
                return true;
            addMessage(result, String::format("Note Expression count bus[%d], channel[%d]: %d", bus,
                                              channel, count));
            for (int32 index = 0; index < count; ++index)
            {
                NoteExpressionTypeInfo info{};
                if (expressions->getNoteExpressionInfo(bus, channel16, index, info) != kResultOk)
                {
                    addError(result, String::format("Note Expression getNoteExpressionInfo (%d, "
                                                    "%d, %d) return kResultFalse!",
                                                    bus, channel, index));
                    return false;
                }
                const auto typeId = static_cast<int32>(info.typeId);
                addMessage(result, String::format("Note Expression TypeID: %d [%s]", typeId,
                                                  fieldText(info.title).c_str()));

                // The two conversions are reported but fail nothing: a plug-in may show a
                // value without being able to read it back.
                String128 text{};
                if (expressions->getNoteExpressionStringByValue(
                        bus, channel16, info.typeId, info.defaultValue, text) != kResultOk)
                    addMessage(result,
                               String::format("Note Expression getNoteExpressionStringByValue "
                                              "(%d, %d, %d) return kResultFalse!",
                                              bus, channel, typeId));
                NoteExpressionValue value = 0.0;
                if (expressions->getNoteExpressionValueByString(bus, channel16, info.typeId, text,
                                                                value) != kResultOk)
                    addMessage(result,
                               String::format("Note Expression getNoteExpressionValueByString "
                                              "(%d, %d, %d) return kResultFalse!",
                                              bus, channel, typeId));
            }
            return true;
        });
}

} // namespace Qel
} // namespace Quillmark
