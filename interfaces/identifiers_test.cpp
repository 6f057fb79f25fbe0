// Every interface identifier, as a module sees it, against its published text. A typo in one
// word makes a plug-in's queries fail silently, so each is checked.
#include "base/fuid.h"
#include "qel3/iaudioprocessor.h"
#include "qel3/icomponent.h"
#include "qel3/ieditcontroller.h"
#include "qel3/ievents.h"
#include "qel3/ihostapplication.h"
#include "qel3/ikeyswitch.h"
#include "qel3/inoteexpression.h"
#include "qel3/iparameterchanges.h"
#include "qel3/ipluginfactory.h"
#include "qel3/iunitinfo.h"

#include <gtest/gtest.h>

using namespace Quillmark;
using namespace Quillmark::Qel;

TEST(InterfaceIdentifiers, MatchTheirPublishedText)
{
    const std::pair<const QelUid*, const char*> table[] = {
        {&FUnknown::iid, "{00000000-0000-0000-C000-000000000046}"},
        {&IPluginFactory::iid, "{7A4D811C-5211-4A1F-AED9-D2EE0B43BF9F}"},
        {&IPluginFactory2::iid, "{0007B650-F24B-4C0B-A464-EDB9F00B2ABB}"},
        {&IPluginFactory3::iid, "{4555A2AB-C123-4E57-9B12-291036878931}"},
        {&IPluginBase::iid, "{22888DDB-156E-45AE-8358-B34808190625}"},
        {&IBStream::iid, "{C3BF6EA2-3099-4752-9B6B-F9901EE33E9B}"},
        {&IHostApplication::iid, "{58E595CC-DB2D-4969-8B6A-AF8C36A664E5}"},
        {&IComponent::iid, "{E831FF31-F2D5-4301-928E-BBEE25697802}"},
        {&IAudioProcessor::iid, "{42043F99-B7DA-453C-A569-E79D9AAEC33D}"},
        {&IEditController::iid, "{DCD7BBE3-7742-448D-A874-AACC979C759E}"},
        {&IEditController2::iid, "{7F4EFE59-F320-4967-AC27-A3AEAFB63038}"},
        {&IUnitInfo::iid, "{3D4BD6B5-913A-4FD2-A886-E768A5EB92C1}"},
        {&IMidiMapping::iid, "{DF0FF9F7-49B7-4669-B63A-B7327ADBF5E5}"},
        {&IParameterChanges::iid, "{A4779663-0BB6-4A56-B443-84A8466FEB9D}"},
        {&IParamValueQueue::iid, "{01263A18-ED07-4F6F-98C9-D3564686F9BA}"},
        {&IEventList::iid, "{3A2C4214-3463-49FE-B2C4-F397B9695A44}"},
        {&IKeyswitchController::iid, "{1F2F76D3-BFFB-4B96-B995-27A55EBCCEF4}"},
        {&INoteExpressionController::iid, "{B7F8F859-4123-4872-9116-95814F3721A3}"},
        {&IEditControllerHostEditing::iid, "{C1271208-7059-4098-B9DD-34B36BB0195E}"},
    };
    for (const auto& [uid, text] : table)
        EXPECT_EQ(FUID(*uid).toRegistryString(), text);
}
