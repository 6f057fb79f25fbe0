#include "presets/representation.h"

#include "base/fxmlwriter.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace Quillmark
{
namespace Qel
{

namespace
{

const char* const kTypeNames[RepresentationLayer::kNumTypes] = {
    "knob", "pressedKnob", "switchKnob", "switch", "LED", "link", "display", "fader"};

const char* const kAttributeKeys[] = {"style",    "ledStyle", "switchStyle", "turnsPerFullRange",
                                      "function", "flags"};

std::string find(const char** attributes, const char* name, bool* present = nullptr)
{
    const char* value = FXmlParser::findAttribute(attributes, name);
    if (present)
        *present = value != nullptr;
    return value ? value : "";
}

std::string escaped(const std::string& text)
{
    std::string out;
    FXmlWriter::appendEscaped(out, text, true);
    return out;
}

std::string indent(int32 level)
{
    return std::string(size_t(std::max(level, 0)), '\t');
}

std::string formatFloat(double value)
{
    char buffer[64];
    std::snprintf(buffer, sizeof(buffer), "%f", value);
    return buffer;
}

bool parsePoint(const std::string& text, double& x, double& y)
{
    return std::sscanf(text.c_str(), "%lf;%lf", &x, &y) == 2;
}

void writeDisplay(std::string& out, const char* tag, const RepresentationDisplay& display,
                  int32 level)
{
    out += indent(level) + "<" + tag;
    if (display.parameterID != -1)
        out += " parameterID=\"" + std::to_string(display.parameterID) + "\"";
    out += ">\n";
    for (const std::string& name : display.names)
        out += indent(level + 1) + "<name>" + escaped(name) + "</name>\n";
    out += indent(level) + "</" + tag + ">\n";
}

void writeCurve(std::string& out, const RepresentationCurve& curve, int32 level)
{
    out += indent(level) + "<curve";
    if (!curve.type.empty())
        out += " type=\"" + escaped(curve.type) + "\"";
    if (!curve.name.empty())
        out += " name=\"" + escaped(curve.name) + "\"";
    if (!curve.templateName.empty())
        out += " template=\"" + escaped(curve.templateName) + "\"";
    out += ">\n";
    // A curve made from a template carries only the reference; the template holds the points.
    if (curve.templateName.empty() && curve.hasSegmentList)
    {
        out +=
            indent(level + 1) + "<segmentList length=\"" + std::to_string(curve.length) + "\">\n";
        for (const auto& segment : curve.segments)
            out += indent(level + 2) + "<segment index=\"" + std::to_string(segment.index) +
                   "\" order=\"" + std::to_string(segment.order) + "\" startPoint=\"" +
                   formatFloat(segment.startX) + ";" + formatFloat(segment.startY) +
                   "\" endPoint=\"" + formatFloat(segment.endX) + ";" + formatFloat(segment.endY) +
                   "\"/>\n";
        out += indent(level + 1) + "</segmentList>\n";
    }
    out += indent(level) + "</curve>\n";
}

} // namespace

const char* RepresentationLayer::typeName(int32 type)
{
    return type >= 0 && type < kNumTypes ? kTypeNames[type] : kTypeNames[kKnob];
}

int32 RepresentationLayer::typeOf(const std::string& name)
{
    for (int32 i = 0; i < kNumTypes; ++i)
        if (name == kTypeNames[i])
            return i;
    return kKnob;
}

void RepresentationLayer::importAttributes(const char** xmlAttributes)
{
    bool present = false;
    std::string id = find(xmlAttributes, "parameterID", &present);
    if (present)
        parameterID = int32(std::strtol(id.c_str(), nullptr, 10));
    type = typeOf(find(xmlAttributes, "type"));
    linkedTo = find(xmlAttributes, "linkedTo");
    for (const char* key : kAttributeKeys)
    {
        std::string value = find(xmlAttributes, key, &present);
        if (!present)
            continue;
        if (std::strcmp(key, "turnsPerFullRange") == 0)
            value = formatFloat(std::strtod(value.c_str(), nullptr));
        setAttribute(key, value);
    }
}

std::string RepresentationLayer::getAttribute(const std::string& key) const
{
    for (const auto& [name, value] : attributes)
        if (name == key)
            return value;
    return {};
}

void RepresentationLayer::setAttribute(const std::string& key, const std::string& value)
{
    for (auto& entry : attributes)
        if (entry.first == key)
        {
            entry.second = value;
            return;
        }
    attributes.emplace_back(key, value);
}

std::string RepresentationLayer::getDisplayName(int32) const
{
    return name.empty() ? "Layer" : name;
}

std::string RepresentationCell::getDisplayName(int32 index) const
{
    if (!name.empty())
        return name;
    return "Cell " + std::to_string(index + 1);
}

std::string RepresentationPage::getDisplayName(int32 index) const
{
    return name.empty() ? "Page " + std::to_string(index + 1) : name;
}

void PluginTag::importAttributes(const char** attributes)
{
    present = true;
    classID = find(attributes, "classID");
    name = find(attributes, "name");
    vendor = find(attributes, "vendor");
    category = find(attributes, "category");
}

void PluginTag::exportXml(std::string& out) const
{
    out += "\t<plugin classID=\"" + escaped(classID) + "\" name=\"" + escaped(name) +
           "\" vendor=\"" + escaped(vendor) + "\" category=\"" + escaped(category) + "\"/>\n";
}

RepresentationPage* RepresentationRootBase::getPage(int32 index) const
{
    return index >= 0 && index < getPageCount() ? pages[size_t(index)].get() : nullptr;
}

RepresentationPage* RepresentationRootBase::addPage(const std::string& pageName, int32 unitID)
{
    auto page = std::make_unique<RepresentationPage>();
    page->name = pageName;
    page->unitID = unitID;
    page->level = level + 1;
    pages.push_back(std::move(page));
    return pages.back().get();
}

bool RepresentationRootBase::removePage(int32 index)
{
    if (index < 0 || index >= getPageCount())
        return false;
    pages.erase(pages.begin() + index);
    return true;
}

void RepresentationRootBase::setInfo(const std::string& newVendor, const std::string& newName,
                                     const std::string& newVersion, const std::string& newHost)
{
    hasRepresentation = true;
    vendor = newVendor;
    name = newName;
    version = newVersion;
    host = newHost;
}

const RepresentationCurve*
RepresentationRootBase::findTemplate(const std::string& templateName) const
{
    for (const auto& curve : curveTemplates)
        if (curve->name == templateName)
            return curve.get();
    return nullptr;
}

const RepresentationLayer* RepresentationRootBase::findLayer(const std::string& layerName) const
{
    for (const auto& page : pages)
        for (const auto& cell : page->cells)
            for (const auto& layer : cell->layers)
                if (layer->name == layerName)
                    return layer.get();
    return nullptr;
}

std::string RepresentationRootBase::describeLayer(const RepresentationLayer& layer) const
{
    switch (layer.type)
    {
    case RepresentationLayer::kKnob:
        return "Knob";
    case RepresentationLayer::kPressedKnob:
        return "PressedKnob";
    case RepresentationLayer::kFader:
        return "Fader";
    case RepresentationLayer::kSwitchKnob:
        return "SwitchKnob";
    case RepresentationLayer::kSwitch:
    {
        std::string style = layer.getAttribute("switchStyle");
        return "Switch (" + style + ", " +
               (style == "push" ? "bmSmallButton" : "bmOnOffButtonSmall") + ")";
    }
    case RepresentationLayer::kLED:
        return "LED (" + layer.getAttribute("ledStyle") + ")";
    case RepresentationLayer::kLink:
        if (!layer.linkedTo.empty() && findLayer(layer.linkedTo))
            return "Linked to " + layer.linkedTo;
        return "Link Not Found!";
    case RepresentationLayer::kDisplay:
    {
        auto first = [](const std::unique_ptr<RepresentationDisplay>& display)
        { return display && !display->names.empty() ? display->names.front() : std::string(); };
        return "Display (" + first(layer.titleDisplay) + " / " + first(layer.valueDisplay) + ")";
    }
    default:
        break;
    }
    return "Knob";
}

std::string RepresentationRootBase::write() const
{
    std::string out = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<qelXML>\n";
    if (plugin.present)
        plugin.exportXml(out);
    if (!date.empty())
        out += "\t<date>" + escaped(date) + "</date>\n";
    if (!originator.empty())
        out += "\t<originator>" + escaped(originator) + "</originator>\n";
    if (!comment.empty())
        out += "\t<comment>" + escaped(comment) + "</comment>\n";
    if (!curveTemplates.empty())
    {
        out += "\t<curveTemplate>\n";
        for (const auto& curve : curveTemplates)
            writeCurve(out, *curve, 2);
        out += "\t</curveTemplate>\n";
    }
    if (hasRepresentation)
    {
        out += "\t<representation name=\"" + escaped(name) + "\" vendor=\"" + escaped(vendor) +
               "\" version=\"" + escaped(version) + "\" host=\"" + escaped(host) + "\">\n";
        for (const auto& page : pages)
        {
            out += "\t\t<page name=\"" + escaped(page->name) + "\" unitID=\"" +
                   std::to_string(page->unitID) + "\">\n";
            for (const auto& cell : page->cells)
            {
                std::string open =
                    cell->name.empty() ? "<cell" : "<cell name=\"" + escaped(cell->name) + "\"";
                if (cell->layers.empty())
                {
                    out += "\t\t\t" + open + "/>\n";
                    continue;
                }
                out += "\t\t\t" + open + ">\n";
                for (const auto& layer : cell->layers)
                {
                    int32 type = layer->type;
                    out += "\t\t\t\t<layer type=\"" +
                           std::string(RepresentationLayer::typeName(type)) + "\"";
                    if (!layer->name.empty())
                        out += " name=\"" + escaped(layer->name) + "\"";
                    if (type == RepresentationLayer::kLink && !layer->linkedTo.empty())
                        out += " linkedTo=\"" + escaped(layer->linkedTo) + "\"";
                    for (const auto& [key, value] : layer->attributes)
                    {
                        if (key == "ledStyle" && type != RepresentationLayer::kLED)
                            continue;
                        if (key == "switchStyle" && type != RepresentationLayer::kSwitchKnob &&
                            type != RepresentationLayer::kSwitch)
                            continue;
                        out += " " + key + "=\"" + escaped(value) + "\"";
                    }
                    if (layer->parameterID != -1)
                        out += " parameterID=\"" + std::to_string(layer->parameterID) + "\"";
                    out += ">\n";
                    if (layer->titleDisplay)
                        writeDisplay(out, "titleDisplay", *layer->titleDisplay, 5);
                    if (layer->valueDisplay)
                        writeDisplay(out, "valueDisplay", *layer->valueDisplay, 5);
                    if (layer->curve)
                        writeCurve(out, *layer->curve, 5);
                    out += "\t\t\t\t</layer>\n";
                }
                out += "\t\t\t</cell>\n";
            }
            out += "\t\t</page>\n";
        }
        out += "\t</representation>\n";
    }
    return out + "</qelXML>\n";
}

bool PiperParser::parse(const void* data, size_t size, std::string* error)
{
    FXmlParser parser(*this);
    bool ok = parser.parse(data, size, true);
    if (!ok && error)
        *error = parser.getError();
    return ok;
}

RepresentationCurve* PiperParser::currentCurve()
{
    if (templateCurve)
        return templateCurve;
    return layer ? layer->curve.get() : nullptr;
}

void PiperParser::startElement(const char* elementName, const char** attributes)
{
    std::string element = elementName;
    std::string parent = stack.empty() ? std::string() : stack.back();
    stack.push_back(element);
    text.clear();
    if (element == "plugin")
        root.plugin.importAttributes(attributes);
    else if (element == "representation")
        root.setInfo(find(attributes, "vendor"), find(attributes, "name"),
                     find(attributes, "version"), find(attributes, "host"));
    else if (element == "page" && root.hasRepresentation)
    {
        page = root.addPage(find(attributes, "name"),
                            int32(std::strtol(find(attributes, "unitID").c_str(), nullptr, 10)));
        cell = nullptr;
        layer = nullptr;
    }
    else if (element == "cell" && page)
    {
        auto node = std::make_unique<RepresentationCell>();
        node->name = find(attributes, "name");
        node->level = page->level + 1;
        page->cells.push_back(std::move(node));
        cell = page->cells.back().get();
        layer = nullptr;
    }
    else if (element == "layer" && cell)
    {
        auto node = std::make_unique<RepresentationLayer>();
        node->name = find(attributes, "name");
        node->level = cell->level + 1;
        node->importAttributes(attributes);
        cell->layers.push_back(std::move(node));
        layer = cell->layers.back().get();
    }
    else if ((element == "titleDisplay" || element == "valueDisplay") && layer)
    {
        auto& slot = element == "titleDisplay" ? layer->titleDisplay : layer->valueDisplay;
        slot = std::make_unique<RepresentationDisplay>();
        bool present = false;
        std::string id = find(attributes, "parameterID", &present);
        if (present)
            slot->parameterID = int32(std::strtol(id.c_str(), nullptr, 10));
        display = slot.get();
    }
    else if (element == "curve")
    {
        auto curve = std::make_unique<RepresentationCurve>();
        curve->type = find(attributes, "type");
        curve->name = find(attributes, "name");
        curve->templateName = find(attributes, "template");
        if (!curve->templateName.empty())
            if (const RepresentationCurve* source = root.findTemplate(curve->templateName))
            {
                curve->segments = source->segments;
                curve->length = source->length;
                curve->hasSegmentList = source->hasSegmentList;
            }
        if (parent == "curveTemplate")
        {
            root.curveTemplates.push_back(std::move(curve));
            templateCurve = root.curveTemplates.back().get();
        }
        else if (layer && parent == "layer")
            layer->curve = std::move(curve);
    }
    else if (element == "segmentList")
    {
        if (RepresentationCurve* curve = currentCurve())
        {
            curve->hasSegmentList = true;
            curve->length = int32(std::strtol(find(attributes, "length").c_str(), nullptr, 10));
        }
    }
    else if (element == "segment")
    {
        if (RepresentationCurve* curve = currentCurve())
        {
            RepresentationCurve::Segment segment;
            segment.index = int32(std::strtol(find(attributes, "index").c_str(), nullptr, 10));
            segment.order = int32(std::strtol(find(attributes, "order").c_str(), nullptr, 10));
            parsePoint(find(attributes, "startPoint"), segment.startX, segment.startY);
            parsePoint(find(attributes, "endPoint"), segment.endX, segment.endY);
            curve->segments.push_back(segment);
        }
    }
}

void PiperParser::endElement(const char* elementName)
{
    std::string element = elementName;
    std::string parent = stack.size() >= 2 ? stack[stack.size() - 2] : std::string();
    if (element == "name" && display)
        display->names.push_back(text);
    else if (parent == "qelXML" && element == "date")
        root.date = text;
    else if (parent == "qelXML" && element == "originator")
        root.originator = text;
    else if (parent == "qelXML" && element == "comment")
        root.comment = text;
    else if (element == "titleDisplay" || element == "valueDisplay")
        display = nullptr;
    else if (element == "layer")
        layer = nullptr;
    else if (element == "cell")
        cell = nullptr;
    else if (element == "page")
        page = nullptr;
    else if (element == "curve" && parent == "curveTemplate")
        templateCurve = nullptr;
    if (!stack.empty())
        stack.pop_back();
    text.clear();
}

void PiperParser::characterData(const char* data, int32 length)
{
    if (!stack.empty())
    {
        const std::string& current = stack.back();
        if (current == "name" || current == "date" || current == "originator" ||
            current == "comment")
            text.append(data, size_t(length));
    }
}

} // namespace Qel
} // namespace Quillmark
