// What the host offers a plug-in through the context it hands to initialize and to the factory:
// its name and the objects it creates on request.
#pragma once

#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

class IHostApplication : public FUnknown
{
public:
    virtual tresult getName(String128 name) = 0;
    virtual tresult createInstance(TUID cid, TUID iid, void** obj) = 0;

    QEL_INTERFACE_IID(0x58E595CC, 0xDB2D4969, 0x8B6AAF8C, 0x36A664E5);
};

} // namespace Qel
} // namespace Quillmark
