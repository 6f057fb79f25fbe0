// The edit half of a plug-in, ready but for what makes it this plug-in: parameters, component
// handler, units and programs; and UnitedBase, component and controller in one object. A
// controller derives from one of the bases; the host owns the object by reference.
#pragma once

#include "common/componentbase.h"
#include "common/iptr.h"
#include "common/parameters.h"
#include "common/pluginbase.h"
#include "common/units.h"
#include "qel3/icomponenthandler.h"
#include "qel3/ieditcontroller.h"
#include "qel3/iunitinfo.h"

#include <type_traits>

namespace Quillmark
{
namespace Qel
{

/** IEditController's parameter calls on top of `Base`, a PluginBase that lists it. A controller
    sets `parameters` in its constructor and writes setComponentState, setState and getState. */
template <class Base> class EditControllerPart : public Base
{
    static_assert(std::is_base_of_v<IEditController, Base>);

public:
    int32 getParameterCount() override { return parameters.count(); }

    tresult getParameterInfo(int32 paramIndex, ParameterInfo& info) override
    {
        return parameters.info(paramIndex, info);
    }

    tresult getParamStringByValue(ParamID id, ParamValue valueNormalized, String128 string) override
    {
        const ParameterSpec* parameter = parameters.find(id);
        if (!parameter || !string)
            return kResultFalse;
        formatParameter(*parameter, valueNormalized, string);
        return kResultOk;
    }

    tresult getParamValueByString(ParamID id, TChar* string, ParamValue& valueNormalized) override
    {
        const ParameterSpec* parameter = parameters.find(id);
        return parameter && parseParameter(*parameter, string, valueNormalized) ? kResultOk
                                                                                : kResultFalse;
    }

    /** An unknown id answers the value as it came: there is no range to map it through. */
    ParamValue normalizedParamToPlain(ParamID id, ParamValue valueNormalized) override
    {
        const ParameterSpec* parameter = parameters.find(id);
        return parameter ? parameter->toPlain(valueNormalized) : valueNormalized;
    }

    ParamValue plainParamToNormalized(ParamID id, ParamValue plainValue) override
    {
        const ParameterSpec* parameter = parameters.find(id);
        return parameter ? parameter->toNormalized(plainValue) : plainValue;
    }

    ParamValue getParamNormalized(ParamID id) override { return parameters.get(id); }

    tresult setParamNormalized(ParamID id, ParamValue value) override
    {
        return parameters.set(id, value) ? kResultOk : kResultFalse;
    }

    /** Keeps the handler with a reference until the next call or terminate; null lets go. */
    tresult setComponentHandler(IComponentHandler* handler) override
    {
        componentHandler.reset(handler);
        return kResultOk;
    }

    /** The examples have no editor of their own; a host shows its generic one. */
    IPlugView* createView(FIDString name) override { return nullptr; }

    tresult terminate() override
    {
        componentHandler.reset();
        return Base::terminate();
    }

protected:
    ParameterList parameters;
    IPtr<IComponentHandler> componentHandler;
};

/** IUnitInfo on top of `Base`, over the table in `units`, which a controller sets in its
    constructor. */
template <class Base> class UnitInfoPart : public Base
{
    static_assert(std::is_base_of_v<IUnitInfo, Base>);

public:
    int32 getUnitCount() override { return units.unitCount(); }
    tresult getUnitInfo(int32 unitIndex, UnitInfo& info) override
    {
        return units.unitInfo(unitIndex, info);
    }
    int32 getProgramListCount() override { return units.programListCount(); }
    tresult getProgramListInfo(int32 listIndex, ProgramListInfo& info) override
    {
        return units.programListInfo(listIndex, info);
    }
    tresult getProgramName(ProgramListID listId, int32 programIndex, String128 name) override
    {
        return units.programName(listId, programIndex, name);
    }
    tresult getProgramInfo(ProgramListID listId, int32 programIndex, CString attributeId,
                           String128 attributeValue) override
    {
        return units.programInfo(listId, programIndex, attributeId, attributeValue);
    }
    tresult hasProgramPitchNames(ProgramListID listId, int32 programIndex) override
    {
        return units.hasPitchNames(listId, programIndex);
    }
    tresult getProgramPitchName(ProgramListID listId, int32 programIndex, int16 midiPitch,
                                String128 name) override
    {
        return units.pitchName(listId, programIndex, midiPitch, name);
    }
    UnitID getSelectedUnit() override { return units.selectedUnit(); }
    tresult selectUnit(UnitID unitId) override { return units.selectUnit(unitId); }

    /** Every bus and channel belongs to the root unit unless a plug-in says otherwise. */
    tresult getUnitByBus(MediaType type, BusDirection dir, int32 busIndex, int32 channel,
                         UnitID& unitId) override
    {
        unitId = kRootUnitId;
        return kResultOk;
    }

    /** Loading program data from the host is not offered by the examples. */
    tresult setUnitProgramData(int32 listOrUnitId, int32 programIndex, IBStream* data) override
    {
        return kNotImplemented;
    }

protected:
    UnitTable units;
};

/** A separate edit controller. `Others` are further interfaces, such as IConnectionPoint. */
template <class... Others>
using EditControllerBase = EditControllerPart<PluginBase<IEditController, Others...>>;

/** A separate edit controller with units and program lists. */
template <class... Others>
using EditControllerWithUnitsBase =
    UnitInfoPart<EditControllerPart<PluginBase<IEditController, IUnitInfo, Others...>>>;

/** Component, processor, edit controller and unit info in one object: the host finds the
    controller by asking the component for IEditController, and getControllerClassId answers
    kResultFalse. setState and getState serve both halves, since they are one function. */
template <class... Others>
using UnitedBase = UnitInfoPart<EditControllerPart<
    ComponentPart<PluginBase<IComponent, IAudioProcessor, IEditController, IUnitInfo, Others...>>>>;

} // namespace Qel
} // namespace Quillmark
