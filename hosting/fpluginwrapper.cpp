#include "hosting/fpluginwrapper.h"

#include <algorithm>

namespace Quillmark
{

namespace
{

std::vector<FPluginWrapper>& wrappers()
{
    static std::vector<FPluginWrapper> list;
    return list;
}

std::vector<IClassObserver*>& observers()
{
    static std::vector<IClassObserver*> list;
    return list;
}

} // namespace

void FPluginWrapper::add(const FPluginWrapper& wrapper)
{
    wrappers().push_back(wrapper);
}

void FPluginWrapper::remove(WrapFunction wrap)
{
    auto& list = wrappers();
    list.erase(std::remove_if(list.begin(), list.end(),
                              [wrap](const FPluginWrapper& w) { return w.wrap == wrap; }),
               list.end());
}

const std::vector<FPluginWrapper>& FPluginWrapper::list()
{
    return wrappers();
}

void FClassObservers::add(IClassObserver* observer)
{
    observers().push_back(observer);
}

void FClassObservers::remove(IClassObserver* observer)
{
    auto& list = observers();
    list.erase(std::remove(list.begin(), list.end(), observer), list.end());
}

void FClassObservers::tell(FComponentDescription* description)
{
    // A copy, so an observer may remove itself while being told.
    std::vector<IClassObserver*> current = observers();
    for (IClassObserver* observer : current)
        observer->classAdded(description);
}

} // namespace Quillmark
