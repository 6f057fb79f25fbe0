// What a stream handed to a plug-in tells about itself: the name of the file behind it and a
// list of further attributes such as the file's full path.
#pragma once

#include "qel3/imessage.h"
#include "qel3/qeltypes.h"

namespace Quillmark
{
namespace Qel
{

class IStreamAttributes : public FUnknown
{
public:
    /** Copies the file name, at most 128 units with the terminating zero. */
    virtual tresult getFileName(String128 name) = 0;
    /** The stream's attribute list, owned by the stream (no reference added); may be null. */
    virtual IAttributeList* getAttributes() = 0;

    QEL_INTERFACE_IID(0xD6CE2FFC, 0xEFAF4B8C, 0x9E74F1BB, 0x12DA44B4);
};

} // namespace Qel
} // namespace Quillmark
