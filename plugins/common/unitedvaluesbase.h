// A plug-in whose component is its own edit controller and whose whole state is its normalized
// parameter values: a four-letter tag, a version, then each value as a little-endian double.
// The values are atomic because process reads them while the host may set a state.
#pragma once

#include "common/controllerbase.h"
#include "common/statestream.h"

#include <array>
#include <atomic>
#include <span>

namespace Quillmark
{
namespace Qel
{

template <size_t Count> class UnitedValuesBase : public UnitedBase<>
{
public:
    // IComponent
    tresult getControllerClassId(TUID classId) override { return kResultFalse; }
    tresult setState(IBStream* state) override
    {
        std::array<ParamValue, Count> loaded;
        if (!readState(state, loaded))
            return kResultFalse;
        for (ParamID id = 0; id < Count; ++id)
        {
            values[id].store(loaded[id]);
            parameters.set(id, loaded[id]);
        }
        return kResultOk;
    }
    tresult getState(IBStream* state) override
    {
        StateWriter writer(state);
        writer.writeUInt32(tag);
        writer.writeInt32(kStateVersion);
        for (ParamID id = 0; id < Count; ++id)
            writer.writeDouble(value(id));
        return writer.ok() ? kResultOk : kResultFalse;
    }

    // IEditController
    tresult setComponentState(IBStream* state) override
    {
        std::array<ParamValue, Count> loaded;
        if (!readState(state, loaded))
            return kResultFalse;
        for (ParamID id = 0; id < Count; ++id)
            parameters.set(id, loaded[id]);
        return kResultOk;
    }

protected:
    /** `table` holds one parameter for each id from 0 to Count - 1; every value starts at its
        parameter's default. */
    UnitedValuesBase(uint32 stateTag, std::span<const ParameterSpec> table) : tag(stateTag)
    {
        parameters = ParameterList(table);
        for (const ParameterSpec& parameter : table)
            values[parameter.id].store(parameter.defaultNormalized());
    }

    ParamValue value(ParamID id) const { return values[id].load(std::memory_order_relaxed); }

    std::array<std::atomic<ParamValue>, Count> values;

private:
    static constexpr int32 kStateVersion = 1;

    /** Only a whole state of this plug-in with every value in range is taken. */
    bool readState(IBStream* stream, std::array<ParamValue, Count>& result) const
    {
        StateReader reader(stream);
        if (reader.readUInt32() != tag || reader.readInt32() != kStateVersion)
            return false;
        for (ParamValue& loaded : result)
        {
            loaded = reader.readDouble();
            if (!(loaded >= 0.0 && loaded <= 1.0))
                return false;
        }
        return reader.ok();
    }

    uint32 tag;
};

} // namespace Qel
} // namespace Quillmark
