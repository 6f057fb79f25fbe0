// The small expression language of parameter structure files: numbers, quoted texts, names,
// + - * / < > == != && || and parentheses, evaluated to a variant. Names are resolved by a
// lookup the caller gives, so variables and parameter fields stay outside the parser.
#pragma once

#include "qel3/qeltypes.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Quillmark
{
namespace QELXmlNodes
{

struct Variant
{
    enum class Kind
    {
        kEmpty,
        kInt,
        kFloat,
        kString,
    };
    Kind kind = Kind::kEmpty;
    int64 intValue = 0;
    double floatValue = 0;
    std::string text;

    static Variant ofInt(int64 value) { return {Kind::kInt, value, 0, {}}; }
    static Variant ofFloat(double value) { return {Kind::kFloat, 0, value, {}}; }
    static Variant ofString(std::string value) { return {Kind::kString, 0, 0, std::move(value)}; }

    /** Texts read as numbers where they can, otherwise 0; empty is 0. */
    double asDouble() const;
    int64 asInt() const;
    bool isTrue() const { return asDouble() != 0.0; }
    std::string toString() const;
};

/** The operation codes of binary nodes. */
enum class BinaryOp
{
    kAdd = 1,
    kSubtract = 2,
    kMultiply = 3,
    kDivide = 4,
    kLess = 5,
    kGreater = 6,
    kEqual = 7,
    kNotEqual = 8,
    kAnd = 9,
    kOr = 10,
};

/** Resolves a name during one evaluation; warnings go to the sink when there is one. */
struct EvaluationContext
{
    std::function<Variant(const std::string& name, EvaluationContext& context)> lookup;
    std::vector<std::string>* warnings = nullptr;
};

class ExpressionParser
{
public:
    struct Node
    {
        virtual ~Node() = default;
        virtual Variant evaluate(EvaluationContext& context) const = 0;
    };
    /** The node for a name. */
    struct VariableNode : Node
    {
        explicit VariableNode(std::string name) : name(std::move(name)) {}
        Variant evaluate(EvaluationContext& context) const override;
        std::string name;
    };

    /** The tree of `text`, or null when it does not parse; `error` says why. */
    static std::unique_ptr<Node> parse(const std::string& text, std::string* error = nullptr);
};

} // namespace QELXmlNodes
} // namespace Quillmark
