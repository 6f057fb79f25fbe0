#include "presets/paramstructure.h"

#include "base/platform/files.h"
#include "presets/presetio.h"

#include <cstdlib>
#include <cstring>
#include <functional>

namespace Quillmark
{
namespace QELXmlNodes
{

namespace
{

std::string attribute(const char** attributes, const char* name)
{
    const char* value = FXmlParser::findAttribute(attributes, name);
    return value ? value : "";
}

std::string trim(const std::string& text)
{
    size_t begin = text.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos)
        return {};
    size_t end = text.find_last_not_of(" \t\r\n");
    return text.substr(begin, end - begin + 1);
}

std::vector<std::string> split(const std::string& text, const char* separators)
{
    std::vector<std::string> parts;
    size_t start = 0;
    while (true)
    {
        size_t end = text.find_first_of(separators, start);
        parts.push_back(text.substr(start, end == std::string::npos ? end : end - start));
        if (end == std::string::npos)
            return parts;
        start = end + 1;
    }
}

const struct
{
    const char* word;
    uint64 bit;
} kCategoryBits[] = {
    {"Unknown", 0},
    {"Analyzer", 0x1},
    {"Delay", 0x2},
    {"Distortion", 0x4},
    {"Dynamics", 0x8},
    {"EQ", 0x10},
    {"Filter", 0x20},
    {"Generator", 0x40},
    {"InstrumentDrum", 0x80},
    {"InstrumentSampler", 0x100},
    {"InstrumentSynth", 0x200},
    {"Mastering", 0x400},
    {"Modulation", 0x800},
    {"OfflineProcess", 0x1000},
    {"Restoration", 0x2000},
    {"Reverb", 0x4000},
    {"Shell", 0x8000},
    {"Spacial", 0x10000}, // so spelt in the files plug-ins ship
    {"Surround", 0x20000},
    {"Effect", 0x40000},
};

std::unique_ptr<Node> makeNode(const std::string& name)
{
    if (name == "QELParametersStructure")
        return std::make_unique<ParametersStructure>(name);
    if (name == "Param")
        return std::make_unique<Param>(name);
    if (name == "Group")
        return std::make_unique<Group>(name);
    if (name == "Template")
        return std::make_unique<Template>(name);
    if (name == "ValueType")
        return std::make_unique<ValueType>(name);
    if (name == "Entry")
        return std::make_unique<ValueEntry>(name);
    if (name == "Category")
        return std::make_unique<Category>(name);
    return std::make_unique<Node>(name);
}

template <class T> T* findNamed(Node* node, const std::string& name)
{
    if (!node)
        return nullptr;
    if (auto* typed = dynamic_cast<T*>(node))
    {
        if constexpr (std::is_same_v<T, Template>)
        {
            if (typed->groupName == name)
                return typed;
        }
        else if (typed->typeName == name)
            return typed;
    }
    for (const auto& child : node->getChildren())
        if (T* found = findNamed<T>(child.get(), name))
            return found;
    return nullptr;
}

} // namespace

Node* Node::addChild(std::unique_ptr<Node> child)
{
    child->parent = this;
    children.push_back(std::move(child));
    return children.back().get();
}

void Param::setAttributes(const char** attributes)
{
    idExpression = attribute(attributes, "id");
    label = attribute(attributes, "label");
    shortName = attribute(attributes, "shortName");
    shortNames.clear();
    if (!shortName.empty())
        for (const std::string& item : split(shortName, ","))
            shortNames.push_back(trim(item));
    type = attribute(attributes, "type");
    typeIndex = type.empty() ? -1 : type == "switch" ? 0 : 1;
    numberOfStates =
        int32(std::strtol(attribute(attributes, "numberOfStates").c_str(), nullptr, 10));
    defaultValue = std::strtof(attribute(attributes, "defaultValue").c_str(), nullptr);
    paramName = attribute(attributes, "name");
}

void GroupBase::setAttributes(const char** attributes)
{
    templateName = attribute(attributes, "template");
    groupName = attribute(attributes, "name");
    std::vector<std::string> tokens = split(attribute(attributes, "values"), ",;=");
    for (size_t i = 0; i + 1 < tokens.size(); i += 2)
    {
        auto variable = std::make_unique<Variable>();
        variable->name = trim(tokens[i]);
        variable->text = trim(tokens[i + 1]);
        variable->expression = ExpressionParser::parse(variable->text);
        if (!variable->name.empty())
            variables.push_back(std::move(variable));
    }
}

void ValueType::setAttributes(const char** attributes)
{
    label = attribute(attributes, "label");
    typeName = attribute(attributes, "name");
}

int32 ValueType::countEntries() const
{
    int32 count = 0;
    for (const auto& child : getChildren())
        if (dynamic_cast<const ValueEntry*>(child.get()))
            ++count;
    return count;
}

void ValueEntry::setAttributes(const char** attributes)
{
    entryName = attribute(attributes, "name");
    std::string text = attribute(attributes, "value");
    // Leading characters that cannot start a number (such as "[") are passed over.
    size_t start = text.find_first_of("0123456789+-.");
    const char* begin = start == std::string::npos ? "" : text.c_str() + start;
    char* end = nullptr;
    minimum = std::strtod(begin, &end);
    maximum = minimum;
    maximumInclusive = true;
    size_t comma = text.find(',', start == std::string::npos ? 0 : start);
    if (comma != std::string::npos)
    {
        const char* second = text.c_str() + comma + 1;
        while (*second == ' ')
            ++second;
        maximum = std::strtod(second, nullptr);
        maximumInclusive = text.back() != '[';
    }
}

void Category::setAttributes(const char** attributes)
{
    mask = parseMask(attribute(attributes, "name"));
}

uint64 Category::parseMask(const std::string& text)
{
    uint64 result = 0;
    for (const std::string& token : split(text, ",;-:."))
    {
        std::string word = trim(token);
        for (const auto& entry : kCategoryBits)
            if (word == entry.word)
                result |= entry.bit;
    }
    return result;
}

bool Parser::parse(const void* data, size_t size)
{
    root.reset();
    current = nullptr;
    error.clear();
    FXmlParser parser(*this);
    xml = &parser;
    bool ok = parser.parse(data, size, true);
    xml = nullptr;
    if (ok && root)
        return true;
    // The line the parser stopped in, so the author sees where to look.
    std::string context;
    std::string text(static_cast<const char*>(data), size);
    int64 line = parser.getErrorLine();
    size_t begin = 0;
    for (int64 i = 1; i < line && begin != std::string::npos; ++i)
    {
        begin = text.find('\n', begin);
        if (begin != std::string::npos)
            ++begin;
    }
    if (line > 0 && begin != std::string::npos)
        context = trim(text.substr(begin, text.find('\n', begin) - begin)).substr(0, 200);
    std::string reason = parser.getError().empty() ? "no parameter structure" : parser.getError();
    error = "Failed to parse QEL Parameters Structure:\n\n" + reason + "\nContext: " + context;
    root.reset();
    current = nullptr;
    return false;
}

void Parser::startElement(const char* name, const char** attributes)
{
    std::string element = name;
    if (!root)
    {
        if (element != "QELParametersStructure" && element != "QELPluginProperties")
        {
            if (xml)
                xml->stop("the first element is " + element +
                          ", not QELParametersStructure or QELPluginProperties");
            return;
        }
        root = makeNode(element);
        root->setAttributes(attributes);
        current = root.get();
        return;
    }
    std::unique_ptr<Node> node = makeNode(element);
    node->setAttributes(attributes);
    current = current->addChild(std::move(node));
}

void Parser::endElement(const char*)
{
    if (current && current->getParent())
        current = current->getParent();
}

Template* Parser::findTemplate(const std::string& name) const
{
    return name.empty() ? nullptr : findNamed<Template>(root.get(), name);
}

ValueType* Parser::findValueType(const std::string& name) const
{
    return name.empty() ? nullptr : findNamed<ValueType>(root.get(), name);
}

Variant evaluate(const ExpressionParser::Node* expression,
                 const std::vector<const GroupBase*>& scopes, const Param* param,
                 std::vector<std::string>* warnings)
{
    if (!expression)
        return Variant::ofInt(0);
    EvaluationContext context;
    context.warnings = warnings;
    context.lookup = [&](const std::string& name, EvaluationContext& inner) -> Variant
    {
        if (param)
        {
            if (name == "label")
                return Variant::ofString(param->label);
            if (name == "shortName")
                return Variant::ofString(param->shortName);
            if (name == "numStates")
                return Variant::ofInt(param->typeIndex == 0 ? 2 : param->numberOfStates);
            if (name == "defaultValue")
                return Variant::ofFloat(param->defaultValue);
        }
        for (auto scope = scopes.rbegin(); scope != scopes.rend(); ++scope)
            for (const auto& variable : (*scope)->variables)
                if (variable->name == name)
                {
                    if (variable->evaluating)
                    {
                        if (inner.warnings)
                            inner.warnings->push_back(
                                "Warning: Recursive definition of Variable '" + name + "'!");
                        return Variant::ofInt(0);
                    }
                    if (!variable->expression)
                        return Variant::ofInt(0);
                    variable->evaluating = true;
                    Variant value = variable->expression->evaluate(inner);
                    variable->evaluating = false;
                    return value;
                }
        return Variant::ofInt(0);
    };
    return expression->evaluate(context);
}

void Parser::build(IQELParamBuilder& builder, std::vector<std::string>* warnings)
{
    if (!root)
        return;
    std::vector<const GroupBase*> scopes;
    walk(root.get(), builder, nullptr, scopes, warnings);
}

void Parser::walk(Node* node, IQELParamBuilder& builder, void* context,
                  std::vector<const GroupBase*>& scopes, std::vector<std::string>* warnings)
{
    // A template that names itself, directly or through others, would never end.
    if (scopes.size() > 64)
    {
        if (warnings)
            warnings->push_back("Warning: groups nested too deeply; the rest is left out");
        return;
    }
    for (const auto& child : node->getChildren())
    {
        if (auto* group = dynamic_cast<Group*>(child.get()))
        {
            Template* templateNode = findTemplate(group->templateName);
            void* groupContext = builder.beginGroup(group, templateNode, context);
            scopes.push_back(group);
            if (templateNode)
            {
                scopes.push_back(templateNode);
                walk(templateNode, builder, groupContext, scopes, warnings);
                scopes.pop_back();
            }
            walk(group, builder, groupContext, scopes, warnings);
            scopes.pop_back();
        }
        else if (auto* param = dynamic_cast<Param*>(child.get()))
        {
            auto expression = ExpressionParser::parse(param->idExpression);
            int32 id = int32(evaluate(expression.get(), scopes, param, warnings).asInt());
            if (ValueType* type = param->typeIndex == 1 ? findValueType(param->type) : nullptr)
                param->numberOfStates = type->countEntries();
            builder.addParameter(param, id, context);
        }
        else if (dynamic_cast<Template*>(child.get()) == nullptr)
        {
            // Plain nodes may hold groups and parameters of their own; templates only count
            // where a group names them.
            if (!dynamic_cast<ValueType*>(child.get()))
                walk(child.get(), builder, context, scopes, warnings);
        }
    }
}

} // namespace QELXmlNodes

using namespace QELXmlNodes;

class HostParamStructure::Builder : public IQELParamBuilder
{
public:
    explicit Builder(HostParamStructure& structure) : structure(structure) {}

    void addParameter(Param* node, int32 id, void* parentContext) override
    {
        QELParamStructure parameter;
        parameter.id = id;
        parameter.label = node->label;
        parameter.shortName = node->shortName;
        parameter.shortNames = node->shortNames;
        parameter.type = node->type;
        parameter.typeIndex = node->typeIndex;
        parameter.numberOfStates = node->numberOfStates;
        parameter.defaultValue = node->defaultValue;
        parameter.name = node->paramName;
        parameter.groupPath = pathOf(parentContext);
        structure.parameters.push_back(parameter);
    }

    void* beginGroup(GroupBase* group, Template*, void* parentContext) override
    {
        std::string parent = pathOf(parentContext);
        structure.groups.push_back(parent.empty() ? group->groupName
                                                  : parent + "/" + group->groupName);
        // The context is the group's index plus one, so null stays the top level.
        return reinterpret_cast<void*>(uintptr_t(structure.groups.size()));
    }

private:
    std::string pathOf(void* context) const
    {
        size_t index = size_t(reinterpret_cast<uintptr_t>(context));
        return index == 0 ? std::string() : structure.groups[index - 1];
    }
    HostParamStructure& structure;
};

bool HostParamStructure::load(const void* data, size_t size)
{
    *this = HostParamStructure();
    Parser parser;
    if (!parser.parse(data, size))
    {
        error = parser.getError();
        return false;
    }
    Builder builder(*this);
    parser.build(builder, &warnings);
    std::function<void(const Node*)> collect = [&](const Node* node)
    {
        if (auto* category = dynamic_cast<const Category*>(node))
            categoryMask |= category->mask;
        if (auto* type = dynamic_cast<const ValueType*>(node))
        {
            QELValueType valueType{type->typeName, type->label, {}};
            for (const auto& child : type->getChildren())
                if (auto* entry = dynamic_cast<const ValueEntry*>(child.get()))
                    valueType.entries.push_back({entry->entryName, entry->minimum, entry->maximum,
                                                 entry->maximumInclusive});
            valueTypes.push_back(valueType);
        }
        for (const auto& child : node->getChildren())
            collect(child.get());
    };
    collect(parser.getRoot());
    return true;
}

bool HostParamStructure::loadForModule(const std::string& modulePath)
{
    std::string path = modulePath;
    if (platform::extensionOf(path) != "qelxml")
    {
        std::string file = path;
        // A package folder holds its module under Contents/x86_64-linux.
        if (platform::fileInfo(path).isFolder && platform::extensionOf(path) == "qel3")
        {
            std::string base = platform::baseName(platform::fileName(path));
            file = platform::joinPath(path, "Contents/x86_64-linux/" + base + ".so");
        }
        path = platform::joinPath(platform::folderOf(file), platform::baseName(file) + ".qelxml");
    }
    std::string bytes;
    if (!Qel::readWholeFile(path, bytes))
    {
        *this = HostParamStructure();
        error = path + ": no parameter structure file";
        return false;
    }
    return load(bytes.data(), bytes.size());
}

} // namespace Quillmark
