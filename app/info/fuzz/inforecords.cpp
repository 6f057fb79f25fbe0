// Records as a plug-in hands them over, any bytes at all, turned into the rows of the
// information page and every cell of their columns. The first byte picks the kind of record;
// the rest fills the record, zero-padded when short. Texts without terminator, negative keys,
// odd flags and counts must all give texts and never read past a field.
#include "app/info/infonodes.h"
#include "app/info/treeinformers.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

using namespace Quillmark;

namespace
{

template <class Record> Record recordFrom(const uint8_t* data, size_t size)
{
    Record record;
    std::memset(&record, 0, sizeof record);
    std::memcpy(&record, data, size < sizeof record ? size : sizeof record);
    return record;
}

void renderAll(FNode* row, const GTreeInformer& informer)
{
    for (int32 column = -1; column <= informer.countColumns(); ++column)
    {
        (void)informer.getColumnTitle(column).toUtf8();
        (void)informer.getCellText(row, column).toUtf8();
        (void)informer.getCellStyle(row, column);
    }
}

template <class Informer> void render(FNode* row)
{
    auto* informer = new Informer;
    renderAll(row, *informer);
    informer->release();
    row->release();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const uint8_t kind = data[0] % 5;
    const uint8_t* body = data + 1;
    const size_t rest = size - 1;
    switch (kind)
    {
    case 0:
        render<QelBusInformer>(
            new QelBusDisplayData(recordFrom<Qel::BusInfo>(body, rest), int32(rest)));
        break;
    case 1:
        render<QelBusInformer>(
            new QelAudioBusDisplayData(recordFrom<Qel::BusInfo>(body, rest), 0, ~0ull));
        break;
    case 2:
    {
        auto info = recordFrom<Qel::ParameterInfo>(body, rest);
        MidiAssignment assignment{int16(info.stepCount & 15), int16(info.unitId & 15),
                                  info.flags % 129 - 1};
        render<QelParameterInformer>(new QelParameterDisplayData(info, 0, assignment));
        break;
    }
    case 3:
        render<QelNoteExpressionInformer>(new QelNoteExpressionDisplayData(
            recordFrom<Qel::NoteExpressionTypeInfo>(body, rest), 0, 0, 0, nullptr));
        break;
    default:
    {
        auto info = recordFrom<Qel::KeyswitchInfo>(body, rest);
        (void)pitchText(info.keyswitchMin).toUtf8();
        render<QelKeySwitchInformer>(new QelKeyswitchDisplayData(info, 0, 0, 0));
        break;
    }
    }
    return 0;
}
