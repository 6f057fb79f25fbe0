#include "presets/representation.h"

#include "presets/presetio.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace Quillmark::Qel;

namespace
{

std::string gainDocumentPath()
{
    return (std::filesystem::path(__FILE__).parent_path().parent_path() /
            "plugins/examples/QelGain/QelGain.representation.xml")
        .string();
}

void read(const std::string& xml, RepresentationRootBase& root, bool expectOk = true)
{
    PiperParser parser(root);
    std::string error;
    EXPECT_EQ(parser.parse(xml.data(), xml.size(), &error), expectOk) << error;
}

} // namespace

TEST(Representation, QelGainDocumentReadsIntoPagesCellsAndLayers)
{
    std::string xml;
    ASSERT_TRUE(readWholeFile(gainDocumentPath(), xml));
    RepresentationRootBase root;
    read(xml, root);

    EXPECT_EQ(root.plugin.classID, "03613F70028A2E002337D42CBAA5C897");
    EXPECT_EQ(root.host, "Qel3PluginTestHost");
    ASSERT_EQ(root.getPageCount(), 1);
    RepresentationPage* page = root.getPage(0);
    ASSERT_EQ(page->cells.size(), 3u);
    const auto& knob = *page->cells[0]->layers[0];
    EXPECT_EQ(knob.type, RepresentationLayer::kKnob);
    EXPECT_EQ(knob.parameterID, 0);
    EXPECT_EQ(knob.getAttribute("turnsPerFullRange"), "1.500000");
    ASSERT_NE(knob.curve, nullptr);
    // The template's segments are found by name.
    ASSERT_EQ(knob.curve->segments.size(), 2u);
    EXPECT_DOUBLE_EQ(knob.curve->segments[0].endY, 0.25);

    const auto& display = *page->cells[0]->layers[1];
    EXPECT_EQ(display.titleDisplay->names, (std::vector<std::string>{"Gain", "Gn"}));
    EXPECT_EQ(root.describeLayer(display), "Display (Gain / -12.0 dB)");

    const auto& bypass = page->cells[1]->layers;
    EXPECT_EQ(root.describeLayer(*bypass[0]), "Switch (push, bmSmallButton)");
    EXPECT_EQ(root.describeLayer(*bypass[1]), "LED (red)");
    EXPECT_EQ(root.describeLayer(*bypass[2]), "Linked to BypassSwitch");
    EXPECT_EQ(page->cells[2]->getDisplayName(2), "Cell 3");
    EXPECT_EQ(bypass[1]->getDisplayName(1), "Layer");
}

TEST(Representation, WritingAndReadingAgainGivesTheSameDocument)
{
    std::string xml;
    ASSERT_TRUE(readWholeFile(gainDocumentPath(), xml));
    RepresentationRootBase first;
    read(xml, first);
    std::string written = first.write();

    RepresentationRootBase second;
    read(written, second);
    EXPECT_EQ(second.write(), written);
    // An empty cell is an empty element, and -1 is no parameter.
    EXPECT_NE(written.find("\t\t\t<cell/>\n"), std::string::npos) << written;
    EXPECT_EQ(written.find("parameterID=\"-1\""), std::string::npos);
    // The link layer had no parameter at all.
    EXPECT_NE(written.find("<layer type=\"link\" linkedTo=\"BypassSwitch\">"), std::string::npos)
        << written;
}

TEST(Representation, WriterEmitsStyleAttributesOnlyForTheirTypes)
{
    RepresentationRootBase root;
    root.setInfo("V", "N", "1", "H");
    RepresentationPage* page = root.addPage("", 3);
    page->cells.push_back(std::make_unique<RepresentationCell>());
    auto layer = std::make_unique<RepresentationLayer>();
    layer->type = RepresentationLayer::kFader;
    layer->setAttribute("ledStyle", "blue");
    layer->setAttribute("switchStyle", "toggle");
    layer->setAttribute("function", "volume");
    layer->linkedTo = "Elsewhere";
    page->cells[0]->layers.push_back(std::move(layer));
    std::string xml = root.write();
    EXPECT_NE(xml.find("<layer type=\"fader\" function=\"volume\">"), std::string::npos) << xml;
    EXPECT_NE(xml.find("<page name=\"\" unitID=\"3\">"), std::string::npos) << xml;
    EXPECT_EQ(page->getDisplayName(0), "Page 1");
}

TEST(Representation, OddDocumentsKeepWhatCanBeKept)
{
    RepresentationRootBase root;
    read("<qelXML><representation name=\"R\"><page name=\"P\"><cell>"
         "<layer type=\"spinner\" parameterID=\"4\"><curve template=\"Missing\"/></layer>"
         "<layer type=\"link\" linkedTo=\"Nowhere\"/>"
         "<mystery><name>lost</name></mystery>"
         "</cell><cell/></page><page><cell><layer type=\"knob\">",
         root, false);
    ASSERT_EQ(root.getPageCount(), 2);
    const auto& layers = root.getPage(0)->cells[0]->layers;
    ASSERT_EQ(layers.size(), 2u);
    EXPECT_EQ(layers[0]->type, RepresentationLayer::kKnob);
    ASSERT_NE(layers[0]->curve, nullptr);
    EXPECT_TRUE(layers[0]->curve->segments.empty());
    EXPECT_EQ(root.describeLayer(*layers[1]), "Link Not Found!");
    EXPECT_TRUE(root.getPage(0)->cells[1]->layers.empty());
    EXPECT_EQ(root.getPage(1)->cells[0]->layers.size(), 1u);

    RepresentationRootBase none;
    read("<qelXML><page name=\"orphan\"/></qelXML>", none);
    EXPECT_EQ(none.getPageCount(), 0);
    EXPECT_FALSE(none.hasRepresentation);
}
