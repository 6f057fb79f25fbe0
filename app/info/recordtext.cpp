#include "app/info/recordtext.h"

namespace Quillmark
{

String recordText(const Qel::String128& field)
{
    uint32 length = 0;
    while (length < 128 && field[length] != 0)
        ++length;
    return String(field, length);
}

} // namespace Quillmark
