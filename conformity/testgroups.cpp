#include "conformity/ftreebuilder.h"

namespace Quillmark
{

FTreeBuilder::FTreeBuilder(FComponentRegistry& registry)
    : FTreeBuilder(registry, defaultTestGroups())
{
}

std::vector<FTreeBuilder::TestGroup> FTreeBuilder::defaultTestGroups()
{
    return {};
}

} // namespace Quillmark
