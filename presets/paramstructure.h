// A plug-in's own description of its parameters, read from a "<module>.qelxml" file beside the
// module: a tree of groups, templates, parameters, value types and categories, with variables
// whose expressions give the parameter ids. The parser owns the tree; HostParamStructure owns
// what a build makes of it.
#pragma once

#include "base/fxmlparser.h"
#include "presets/paramexpression.h"

#include <memory>
#include <string>
#include <vector>

namespace Quillmark
{
namespace QELXmlNodes
{

class Node
{
public:
    explicit Node(std::string name) : name(std::move(name)) {}
    virtual ~Node() = default;
    Node(const Node&) = delete;
    Node& operator=(const Node&) = delete;

    /** Reads what the element's attributes say; `attributes` alternates names and values. */
    virtual void setAttributes(const char** attributes) {}

    const std::string& getName() const { return name; }
    Node* getParent() const { return parent; }
    const std::vector<std::unique_ptr<Node>>& getChildren() const { return children; }
    Node* addChild(std::unique_ptr<Node> child);

private:
    std::string name;
    Node* parent = nullptr;
    std::vector<std::unique_ptr<Node>> children;
};

class ParametersStructure : public Node
{
public:
    using Node::Node;
};

class Param : public Node
{
public:
    using Node::Node;
    void setAttributes(const char** attributes) override;

    std::string idExpression;
    std::string label;
    std::string shortName;               // the whole text
    std::vector<std::string> shortNames; // its comma-separated items, trimmed
    std::string type;
    int32 typeIndex = -1; // -1 none, 0 "switch", 1 a value type
    int32 numberOfStates = 0;
    float defaultValue = 0.f;
    std::string paramName;
};

struct Variable
{
    std::string name;
    std::string text;
    std::unique_ptr<ExpressionParser::Node> expression; // null when the text does not parse
    mutable bool evaluating = false;
};

class GroupBase : public Node
{
public:
    using Node::Node;
    void setAttributes(const char** attributes) override;

    std::string templateName;
    std::string groupName;
    std::vector<std::unique_ptr<Variable>> variables;
};

class Group : public GroupBase
{
public:
    using GroupBase::GroupBase;
};

class Template : public GroupBase
{
public:
    using GroupBase::GroupBase;
};

class ValueType : public Node
{
public:
    using Node::Node;
    void setAttributes(const char** attributes) override;
    /** The number of "Entry" children. */
    int32 countEntries() const;

    std::string label;
    std::string typeName;
};

class ValueEntry : public Node
{
public:
    using Node::Node;
    void setAttributes(const char** attributes) override;

    std::string entryName; // also its label
    double minimum = 0;
    double maximum = 0;
    bool maximumInclusive = true;
};

class Category : public Node
{
public:
    using Node::Node;
    void setAttributes(const char** attributes) override;
    /** The bits of the words of `text`; unknown words add none. */
    static uint64 parseMask(const std::string& text);

    uint64 mask = 0;
};

/** What a build hands a structure: parameters, and groups with a context for their children. */
class IQELParamBuilder
{
public:
    virtual ~IQELParamBuilder() = default;
    virtual void addParameter(Param* node, int32 id, void* parentContext) = 0;
    virtual void* beginGroup(GroupBase* group, Template* templateNode, void* parentContext) = 0;
};

class Parser : public FXmlParser::Handler
{
public:
    /** Parses a document; true when a root was made. On failure getError tells why. */
    bool parse(const void* data, size_t size);
    /** Walks the tree into `builder`; warnings of the evaluation go to `warnings`. */
    void build(IQELParamBuilder& builder, std::vector<std::string>* warnings = nullptr);

    Node* getRoot() const { return root.get(); }
    const std::string& getError() const { return error; }
    /** The template or value type of that name anywhere in the tree, or null. */
    Template* findTemplate(const std::string& name) const;
    ValueType* findValueType(const std::string& name) const;

    void startElement(const char* name, const char** attributes) override;
    void endElement(const char* name) override;

private:
    struct Scope;
    void walk(Node* node, IQELParamBuilder& builder, void* context,
              std::vector<const GroupBase*>& scopes, std::vector<std::string>* warnings);

    std::unique_ptr<Node> root;
    Node* current = nullptr;
    FXmlParser* xml = nullptr;
    std::string error;
};

/** Evaluates an expression with names looked up in `scopes` (innermost last) and, inside a
    parameter, in the parameter's own fields. */
Variant evaluate(const ExpressionParser::Node* expression,
                 const std::vector<const GroupBase*>& scopes, const Param* param,
                 std::vector<std::string>* warnings);

} // namespace QELXmlNodes

/** The parameter structure of one class, as the host keeps it. */
struct QELValueType
{
    struct Entry
    {
        std::string name;
        double minimum = 0;
        double maximum = 0;
        bool maximumInclusive = true;
    };
    std::string name;
    std::string label;
    std::vector<Entry> entries;
};

struct QELParamStructure
{
    int32 id = 0;
    std::string label;
    std::string shortName;
    std::vector<std::string> shortNames;
    std::string type;
    int32 typeIndex = -1;
    int32 numberOfStates = 0;
    float defaultValue = 0.f;
    std::string name;
    std::string groupPath; // names of the groups above, separated by "/"
};

class HostParamStructure
{
public:
    /** Reads the document; false with the error text on failure, and nothing kept. */
    bool load(const void* data, size_t size);
    /** Reads "<module>.qelxml" for a module path (or the file itself when it is one). */
    bool loadForModule(const std::string& modulePath);

    const std::vector<QELParamStructure>& getParameters() const { return parameters; }
    const std::vector<QELValueType>& getValueTypes() const { return valueTypes; }
    const std::vector<std::string>& getGroups() const { return groups; }
    const std::vector<std::string>& getWarnings() const { return warnings; }
    uint64 getCategoryMask() const { return categoryMask; }
    const std::string& getError() const { return error; }

    class Builder;

private:
    std::vector<QELParamStructure> parameters;
    std::vector<QELValueType> valueTypes;
    std::vector<std::string> groups;
    std::vector<std::string> warnings;
    uint64 categoryMask = 0;
    std::string error;
};

} // namespace Quillmark
