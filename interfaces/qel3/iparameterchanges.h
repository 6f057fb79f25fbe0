// Parameter changes that travel with a block: one queue of points per parameter, and the set
// of queues of one block.
#pragma once

#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

class IParamValueQueue : public FUnknown
{
public:
    virtual ParamID getParameterId() = 0;
    virtual int32 getPointCount() = 0;
    virtual tresult getPoint(int32 index, int32& sampleOffset, ParamValue& value) = 0;
    virtual tresult addPoint(int32 sampleOffset, ParamValue value, int32& index) = 0;

    QEL_INTERFACE_IID(0x01263A18, 0xED074F6F, 0x98C9D356, 0x4686F9BA);
};

class IParameterChanges : public FUnknown
{
public:
    virtual int32 getParameterCount() = 0;
    virtual IParamValueQueue* getParameterData(int32 index) = 0;
    virtual IParamValueQueue* addParameterData(const ParamID& id, int32& index) = 0;

    QEL_INTERFACE_IID(0xA4779663, 0x0BB64A56, 0xB44384A8, 0x466FEB9D);
};

} // namespace Qel
} // namespace Quillmark
