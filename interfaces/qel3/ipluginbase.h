// The base interface of every class a module creates: one initialize with the host context,
// one terminate.
#pragma once

#include "qel3/funknown.h"

namespace Quillmark
{

class IPluginBase : public FUnknown
{
public:
    virtual tresult initialize(FUnknown* context) = 0;
    virtual tresult terminate() = 0;

    QEL_INTERFACE_IID(0x22888DDB, 0x156E45AE, 0x8358B348, 0x08190625);
};

} // namespace Quillmark
