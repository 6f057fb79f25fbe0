#include "app/uiservices.h"

#include "base/fmainloop.h"

namespace Quillmark
{

void IUIServices::runMainLoop(const std::function<bool()>& done)
{
    FMainLoop::instance()->run(done);
}

bool IUIServices::askText(const TextRequest&, std::string&)
{
    return false;
}

} // namespace Quillmark
