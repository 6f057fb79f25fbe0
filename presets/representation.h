// How a plug-in wants a hardware control surface to show it: pages of cells, each cell with
// layers (knobs, switches, LEDs, displays...) bound to parameters, plus curves. Read from the
// XML a plug-in hands over, shown as text, and written out again. The root owns the whole tree.
#pragma once

#include "base/fxmlparser.h"
#include "qel3/qeltypes.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Quillmark
{
namespace Qel
{

class RepresentationCurve
{
public:
    struct Segment
    {
        int32 index = 0;
        int32 order = 0;
        double startX = 0, startY = 0;
        double endX = 0, endY = 0;
    };
    std::string type;
    std::string name;
    std::string templateName;
    int32 length = 0; // of the segment list
    bool hasSegmentList = false;
    std::vector<Segment> segments;
};

class RepresentationDisplay
{
public:
    int32 parameterID = -1;
    std::vector<std::string> names; // possible labels, longest first
};

class RepresentationNode
{
public:
    virtual ~RepresentationNode() = default;
    /** The name a view shows; `index` counts from 0 among the siblings. */
    virtual std::string getDisplayName(int32 index) const = 0;
    int32 getLevel() const { return level; }

    std::string name;
    int32 level = 0;
};

class RepresentationLayer : public RepresentationNode
{
public:
    enum Type
    {
        kKnob,
        kPressedKnob,
        kSwitchKnob,
        kSwitch,
        kLED,
        kLink,
        kDisplay,
        kFader,
        kNumTypes
    };
    static const char* typeName(int32 type);
    /** The number of the name, or kKnob for a missing or unknown one. */
    static int32 typeOf(const std::string& name);

    void importAttributes(const char** attributes);
    std::string getDisplayName(int32 index) const override;
    /** The extra attribute under `key` ("style", "ledStyle", ...), or empty. */
    std::string getAttribute(const std::string& key) const;
    void setAttribute(const std::string& key, const std::string& value);

    int32 type = kKnob;
    int32 parameterID = -1;
    std::string linkedTo;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::unique_ptr<RepresentationDisplay> titleDisplay;
    std::unique_ptr<RepresentationDisplay> valueDisplay;
    std::unique_ptr<RepresentationCurve> curve;
};

class RepresentationCell : public RepresentationNode
{
public:
    std::string getDisplayName(int32 index) const override;
    std::vector<std::unique_ptr<RepresentationLayer>> layers;
};

class RepresentationPage : public RepresentationNode
{
public:
    std::string getDisplayName(int32 index) const override;
    int32 unitID = 0;
    std::vector<std::unique_ptr<RepresentationCell>> cells;
};

struct PluginTag
{
    void importAttributes(const char** attributes);
    void exportXml(std::string& out) const;

    bool present = false;
    std::string classID, name, vendor, category;
};

class RepresentationRootBase : public RepresentationNode
{
public:
    int32 getPageCount() const { return int32(pages.size()); }
    RepresentationPage* getPage(int32 index) const;
    RepresentationPage* addPage(const std::string& pageName, int32 unitID);
    bool removePage(int32 index);
    void setInfo(const std::string& vendor, const std::string& name, const std::string& version,
                 const std::string& host);
    std::string getDisplayName(int32) const override { return name; }

    /** The whole document, UTF-8. */
    std::string write() const;
    /** The curve template of that name, or null. */
    const RepresentationCurve* findTemplate(const std::string& templateName) const;
    /** The layer of that name anywhere in the tree, or null. */
    const RepresentationLayer* findLayer(const std::string& layerName) const;
    /** What the page view shows for a layer: its kind, or for a link where it leads. */
    std::string describeLayer(const RepresentationLayer& layer) const;

    bool hasRepresentation = false;
    std::string vendor, version, host;
    PluginTag plugin;
    std::string date, originator, comment;
    std::vector<std::unique_ptr<RepresentationCurve>> curveTemplates;
    std::vector<std::unique_ptr<RepresentationPage>> pages;
};

/** Reads a representation document into a root; damage keeps what came before it. */
class PiperParser : public FXmlParser::Handler
{
public:
    explicit PiperParser(RepresentationRootBase& root) : root(root) {}
    bool parse(const void* data, size_t size, std::string* error = nullptr);

    void startElement(const char* name, const char** attributes) override;
    void endElement(const char* name) override;
    void characterData(const char* text, int32 length) override;

private:
    RepresentationCurve* currentCurve();

    RepresentationRootBase& root;
    std::vector<std::string> stack;
    RepresentationPage* page = nullptr;
    RepresentationCell* cell = nullptr;
    RepresentationLayer* layer = nullptr;
    RepresentationDisplay* display = nullptr;
    RepresentationCurve* templateCurve = nullptr;
    std::string text;
};

} // namespace Qel
} // namespace Quillmark
