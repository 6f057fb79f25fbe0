#include "presets/paramstructure.h"

#include "hosting/testsupport.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace Quillmark;
using namespace Quillmark::QELXmlNodes;

namespace
{

Variant eval(const std::string& text)
{
    std::string error;
    auto node = ExpressionParser::parse(text, &error);
    EXPECT_NE(node, nullptr) << text << ": " << error;
    return node ? evaluate(node.get(), {}, nullptr, nullptr) : Variant{};
}

HostParamStructure load(const std::string& xml)
{
    HostParamStructure structure;
    EXPECT_TRUE(structure.load(xml.data(), xml.size())) << structure.getError();
    return structure;
}

} // namespace

TEST(ParamExpressions, OperatorsPrecedenceAndKinds)
{
    EXPECT_EQ(eval("2 + 3 * 4").asInt(), 14);
    EXPECT_EQ(eval("(2 + 3) * 4").asInt(), 20);
    EXPECT_EQ(eval("10 - 4 - 3").asInt(), 3); // left to right
    Variant quotient = eval("7 / 2");
    EXPECT_EQ(quotient.kind, Variant::Kind::kFloat); // division is always in double
    EXPECT_DOUBLE_EQ(quotient.floatValue, 3.5);
    EXPECT_EQ(eval("1.5 + 1").kind, Variant::Kind::kFloat);
    EXPECT_EQ(eval("3 < 4").intValue, 1);
    EXPECT_EQ(eval("3 > 4").intValue, 0);
    EXPECT_EQ(eval("2 + 2 == 4").intValue, 1);
    EXPECT_EQ(eval("'a' != 'a'").intValue, 0);
    EXPECT_EQ(eval("1 && 0 || 1").intValue, 1);
    EXPECT_EQ(eval("1 && (0 || 0)").intValue, 0);
    EXPECT_EQ(eval("-0x10 + 1").asInt(), -15);
    EXPECT_EQ(eval("unknownName + 5").asInt(), 5);

    for (const char* bad : {"", "1 +", "(1", "'open", "2 $ 3", "1 2"})
        EXPECT_EQ(ExpressionParser::parse(bad), nullptr) << bad;
}

TEST(ParamStructure, IdsFromNestedVariablesAndTemplates)
{
    HostParamStructure structure = load(R"(<QELParametersStructure>
  <Template name="Channel">
    <Param id="base + index * 10" label="Level"/>
    <Param id="base + index * 10 + 1" label="Pan" type="switch" numberOfStates="7"/>
  </Template>
  <Group name="Mixer" values="base=100">
    <Group name="One" template="Channel" values="index=1"/>
    <Group name="Two" template="Channel" values="index=2; base=500">
      <Param id="numStates + base" label="Extra" numberOfStates="3"/>
    </Group>
  </Group>
  <Param id="7" label="Top"/>
</QELParametersStructure>)");

    const auto& params = structure.getParameters();
    ASSERT_EQ(params.size(), 6u);
    EXPECT_EQ(params[0].id, 110);
    EXPECT_EQ(params[0].groupPath, "Mixer/One");
    EXPECT_EQ(params[1].id, 111);
    EXPECT_EQ(params[1].typeIndex, 0);
    // The inner "base" hides the outer one.
    EXPECT_EQ(params[2].id, 520);
    EXPECT_EQ(params[3].id, 521);
    EXPECT_EQ(params[4].id, 503);
    EXPECT_EQ(params[4].groupPath, "Mixer/Two");
    EXPECT_EQ(params[5].id, 7);
    EXPECT_EQ(params[5].groupPath, "");
    EXPECT_EQ(structure.getGroups(), (std::vector<std::string>{"Mixer", "Mixer/One", "Mixer/Two"}));
    EXPECT_TRUE(structure.getWarnings().empty());
}

TEST(ParamStructure, ASwitchCountsTwoStatesAndAValueTypeItsEntries)
{
    HostParamStructure structure = load(R"(<QELParametersStructure>
  <ValueType name="Mode" label="Mode">
    <Entry name="Low" value="[0,0.5["/>
    <Entry name="High" value="0.5,1]"/>
    <Entry name="Top" value="1"/>
    <Entry name="Open" value=" x0.25, 0.75"/>
  </ValueType>
  <Group name="G" values="a=1">
    <Param id="numStates * 100" label="Switch" type="switch" numberOfStates="9"/>
    <Param id="numStates" label="Typed" type="Mode" numberOfStates="2" shortName=" Ty , T,Tp "/>
  </Group>
</QELParametersStructure>)");
    const auto& params = structure.getParameters();
    ASSERT_EQ(params.size(), 2u);
    EXPECT_EQ(params[0].id, 200);
    EXPECT_EQ(params[1].numberOfStates, 4);
    EXPECT_EQ(params[1].shortNames, (std::vector<std::string>{"Ty", "T", "Tp"}));
    EXPECT_EQ(params[1].shortName, " Ty , T,Tp ");

    ASSERT_EQ(structure.getValueTypes().size(), 1u);
    const auto& entries = structure.getValueTypes()[0].entries;
    ASSERT_EQ(entries.size(), 4u);
    EXPECT_FALSE(entries[0].maximumInclusive);
    EXPECT_DOUBLE_EQ(entries[0].maximum, 0.5);
    EXPECT_TRUE(entries[1].maximumInclusive);
    EXPECT_DOUBLE_EQ(entries[1].minimum, 0.5);
    EXPECT_DOUBLE_EQ(entries[2].minimum, 1.0);
    EXPECT_DOUBLE_EQ(entries[2].maximum, 1.0);
    EXPECT_DOUBLE_EQ(entries[3].minimum, 0.25);
    EXPECT_DOUBLE_EQ(entries[3].maximum, 0.75);
    EXPECT_TRUE(entries[3].maximumInclusive);
}

TEST(ParamStructure, CategoriesSetTheirBits)
{
    EXPECT_EQ(Category::parseMask("EQ;Reverb-Delay"), 0x10u | 0x4000u | 0x2u);
    EXPECT_EQ(Category::parseMask(" Spacial : Effect "), 0x10000u | 0x40000u);
    EXPECT_EQ(Category::parseMask("Spatial"), 0u); // only the spelling the files use
    EXPECT_EQ(Category::parseMask("Unknown"), 0u);
    HostParamStructure structure =
        load("<QELPluginProperties><Category name=\"Dynamics\"/><X><Category name=\"EQ\"/></X>"
             "</QELPluginProperties>");
    EXPECT_EQ(structure.getCategoryMask(), 0x18u);
}

TEST(ParamStructure, ARecursiveVariableWarnsOnceAndCountsAsZero)
{
    HostParamStructure structure = load(R"(<QELParametersStructure>
  <Group name="G" values="loop=loop + 1; a=b; b=a + 2">
    <Param id="loop + 5" label="One"/>
    <Param id="a" label="Two"/>
  </Group>
</QELParametersStructure>)");
    const auto& params = structure.getParameters();
    ASSERT_EQ(params.size(), 2u);
    EXPECT_EQ(params[0].id, 6); // loop -> (0 + 1) + 5
    EXPECT_EQ(params[1].id, 2); // a -> b -> (a = 0) + 2
    EXPECT_EQ(structure.getWarnings(),
              (std::vector<std::string>{"Warning: Recursive definition of Variable 'loop'!",
                                        "Warning: Recursive definition of Variable 'a'!"}));
}

TEST(ParamStructure, ForeignAndBrokenDocumentsGiveNoStructure)
{
    HostParamStructure structure;
    std::string foreign = "<Presets><Param id=\"1\"/></Presets>";
    EXPECT_FALSE(structure.load(foreign.data(), foreign.size()));
    EXPECT_TRUE(structure.getParameters().empty());
    EXPECT_EQ(structure.getError().rfind("Failed to parse QEL Parameters Structure:\n\n", 0), 0u);

    std::string broken = "<QELParametersStructure>\n<Param id=\"1\" label=\"A\"/>\n<Param id=>\n";
    EXPECT_FALSE(structure.load(broken.data(), broken.size()));
    EXPECT_TRUE(structure.getParameters().empty());
    EXPECT_NE(structure.getError().find("\nContext: <Param id=>"), std::string::npos)
        << structure.getError();

    // A template that names itself stops instead of recursing for ever.
    std::string selfish = R"(<QELParametersStructure><Template name="T">
      <Group name="G" template="T"/><Param id="1"/></Template>
      <Group name="Top" template="T"/></QELParametersStructure>)";
    ASSERT_TRUE(structure.load(selfish.data(), selfish.size()));
    EXPECT_FALSE(structure.getWarnings().empty());
}

TEST(ParamStructure, QelSynthDescribesItsParametersBesideItsModule)
{
    HostParamStructure structure;
    ASSERT_TRUE(structure.loadForModule(Quillmark::testing::exampleModule("QelSynth.qel3")))
        << structure.getError();
    const auto& params = structure.getParameters();
    ASSERT_EQ(params.size(), 7u);
    const char* labels[] = {"Volume",  "Waveform",   "Attack", "Release",
                            "Vibrato", "Pitch Bend", "Program"};
    std::vector<int32> ids;
    for (const auto& param : params)
        ids.push_back(param.id);
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(ids, (std::vector<int32>{0, 1, 2, 3, 4, 5, 6}));
    for (const auto& param : params)
        EXPECT_EQ(param.label, labels[param.id]) << param.id;
    EXPECT_EQ(structure.getCategoryMask(), 0x240u);
    EXPECT_TRUE(structure.getWarnings().empty());
}
