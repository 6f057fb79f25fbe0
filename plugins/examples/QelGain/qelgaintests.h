// The test class of the Qel Gain module, category "Test Class": a host that runs module tests
// asks it for its tests and hangs them into its test tree. The host owns it by reference; each
// test it adds is owned by the host's tree.
#pragma once

#include "common/pluginobject.h"
#include "qel3/itestfactory.h"

namespace Quillmark
{
namespace Qel
{
namespace Examples
{

class QelGainTestFactory : public PluginObject<ITestFactory>
{
public:
    QelGainTestFactory() = default;

    tresult createTests(FUnknown* context, ITestSuite* parentSuite) override;
};

} // namespace Examples
} // namespace Qel
} // namespace Quillmark
