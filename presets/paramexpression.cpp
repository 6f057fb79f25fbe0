#include "presets/paramexpression.h"

#include <cctype>
#include <cmath>
#include <cstdlib>

namespace Quillmark
{
namespace QELXmlNodes
{

double Variant::asDouble() const
{
    switch (kind)
    {
    case Kind::kInt:
        return double(intValue);
    case Kind::kFloat:
        return floatValue;
    case Kind::kString:
        return std::strtod(text.c_str(), nullptr);
    case Kind::kEmpty:
        break;
    }
    return 0.0;
}

int64 Variant::asInt() const
{
    if (kind == Kind::kInt)
        return intValue;
    double value = asDouble();
    if (!std::isfinite(value) || value >= 9.2e18 || value <= -9.2e18)
        return 0;
    return int64(value);
}

std::string Variant::toString() const
{
    switch (kind)
    {
    case Kind::kInt:
        return std::to_string(intValue);
    case Kind::kFloat:
    {
        char buffer[32];
        std::snprintf(buffer, sizeof(buffer), "%g", floatValue);
        return buffer;
    }
    case Kind::kString:
        return text;
    case Kind::kEmpty:
        break;
    }
    return {};
}

namespace
{

using Node = ExpressionParser::Node;

struct Literal : Node
{
    explicit Literal(Variant value) : value(std::move(value)) {}
    Variant evaluate(EvaluationContext&) const override { return value; }
    Variant value;
};

struct Negate : Node
{
    explicit Negate(std::unique_ptr<Node> operand) : operand(std::move(operand)) {}
    Variant evaluate(EvaluationContext& context) const override
    {
        Variant value = operand->evaluate(context);
        if (value.kind == Variant::Kind::kInt)
            return Variant::ofInt(int64(0ull - uint64(value.intValue)));
        return Variant::ofFloat(-value.asDouble());
    }
    std::unique_ptr<Node> operand;
};

struct Binary : Node
{
    Binary(BinaryOp op, std::unique_ptr<Node> left, std::unique_ptr<Node> right)
        : op(op), left(std::move(left)), right(std::move(right))
    {
    }

    Variant evaluate(EvaluationContext& context) const override
    {
        if (!left || !right)
            return {};
        Variant a = left->evaluate(context);
        Variant b = right->evaluate(context);
        bool integers = a.kind == Variant::Kind::kInt && b.kind == Variant::Kind::kInt;
        auto truth = [](bool value) { return Variant::ofInt(value ? 1 : 0); };
        // Integer arithmetic wraps rather than overflowing into undefined behaviour.
        auto wrap = [](uint64 value) { return Variant::ofInt(int64(value)); };
        switch (op)
        {
        case BinaryOp::kAdd:
            if (a.kind == Variant::Kind::kString && b.kind == Variant::Kind::kString)
                return Variant::ofString(a.text + b.text);
            return integers ? wrap(uint64(a.intValue) + uint64(b.intValue))
                            : Variant::ofFloat(a.asDouble() + b.asDouble());
        case BinaryOp::kSubtract:
            return integers ? wrap(uint64(a.intValue) - uint64(b.intValue))
                            : Variant::ofFloat(a.asDouble() - b.asDouble());
        case BinaryOp::kMultiply:
            return integers ? wrap(uint64(a.intValue) * uint64(b.intValue))
                            : Variant::ofFloat(a.asDouble() * b.asDouble());
        case BinaryOp::kDivide:
            return Variant::ofFloat(a.asDouble() / b.asDouble());
        case BinaryOp::kLess:
            return truth(a.asDouble() < b.asDouble());
        case BinaryOp::kGreater:
            return truth(a.asDouble() > b.asDouble());
        case BinaryOp::kEqual:
        case BinaryOp::kNotEqual:
        {
            bool equal = a.kind == Variant::Kind::kString && b.kind == Variant::Kind::kString
                             ? a.text == b.text
                             : a.asDouble() == b.asDouble();
            return truth(op == BinaryOp::kEqual ? equal : !equal);
        }
        case BinaryOp::kAnd:
            return truth(a.isTrue() && b.isTrue());
        case BinaryOp::kOr:
            return truth(a.isTrue() || b.isTrue());
        }
        return {};
    }

    BinaryOp op;
    std::unique_ptr<Node> left;
    std::unique_ptr<Node> right;
};

// Recursive descent, loosest binding first: || && (== !=) (< >) (+ -) (* /) unary.
class Reader
{
public:
    explicit Reader(const std::string& text) : text(text) {}

    std::unique_ptr<Node> parseAll()
    {
        auto node = parseOr();
        skipSpace();
        if (node && at < text.size())
            fail("unexpected '" + text.substr(at, 1) + "'");
        return error.empty() ? std::move(node) : nullptr;
    }

    std::string error;

private:
    void fail(const std::string& reason)
    {
        if (error.empty())
            error = reason + " at position " + std::to_string(at);
    }
    void skipSpace()
    {
        while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at])))
            ++at;
    }
    bool take(const char* symbol)
    {
        skipSpace();
        size_t length = std::char_traits<char>::length(symbol);
        if (text.compare(at, length, symbol) != 0)
            return false;
        at += length;
        return true;
    }
    using Next = std::unique_ptr<Node> (Reader::*)();
    std::unique_ptr<Node> level(Next next,
                                std::initializer_list<std::pair<const char*, BinaryOp>> ops)
    {
        auto left = (this->*next)();
        while (left && error.empty())
        {
            bool matched = false;
            for (const auto& [symbol, op] : ops)
                if (take(symbol))
                {
                    auto right = (this->*next)();
                    if (!right)
                        return nullptr;
                    left = std::make_unique<Binary>(op, std::move(left), std::move(right));
                    matched = true;
                    break;
                }
            if (!matched)
                break;
        }
        return left;
    }
    std::unique_ptr<Node> parseOr() { return level(&Reader::parseAnd, {{"||", BinaryOp::kOr}}); }
    std::unique_ptr<Node> parseAnd()
    {
        return level(&Reader::parseEquality, {{"&&", BinaryOp::kAnd}});
    }
    std::unique_ptr<Node> parseEquality()
    {
        return level(&Reader::parseOrder, {{"==", BinaryOp::kEqual}, {"!=", BinaryOp::kNotEqual}});
    }
    std::unique_ptr<Node> parseOrder()
    {
        return level(&Reader::parseSum, {{"<", BinaryOp::kLess}, {">", BinaryOp::kGreater}});
    }
    std::unique_ptr<Node> parseSum()
    {
        return level(&Reader::parseProduct, {{"+", BinaryOp::kAdd}, {"-", BinaryOp::kSubtract}});
    }
    std::unique_ptr<Node> parseProduct()
    {
        return level(&Reader::parseUnary, {{"*", BinaryOp::kMultiply}, {"/", BinaryOp::kDivide}});
    }
    std::unique_ptr<Node> parseUnary()
    {
        if (++depth > 200)
        {
            fail("expression nested too deeply");
            return nullptr;
        }
        std::unique_ptr<Node> node;
        if (take("-"))
        {
            auto operand = parseUnary();
            if (operand)
                node = std::make_unique<Negate>(std::move(operand));
        }
        else if (take("+"))
            node = parseUnary();
        else
            node = parsePrimary();
        --depth;
        return node;
    }
    std::unique_ptr<Node> parsePrimary()
    {
        skipSpace();
        if (at >= text.size())
        {
            fail("an operand is missing");
            return nullptr;
        }
        char c = text[at];
        if (c == '(')
        {
            ++at;
            auto inner = parseOr();
            if (inner && !take(")"))
            {
                fail("')' is missing");
                return nullptr;
            }
            return inner;
        }
        if (c == '"' || c == '\'')
        {
            size_t end = text.find(c, at + 1);
            if (end == std::string::npos)
            {
                fail("a text is not closed");
                return nullptr;
            }
            std::string value = text.substr(at + 1, end - at - 1);
            at = end + 1;
            return std::make_unique<Literal>(Variant::ofString(value));
        }
        if (std::isdigit(static_cast<unsigned char>(c)) || c == '.')
            return parseNumber();
        if (std::isalpha(static_cast<unsigned char>(c)) || c == '_')
        {
            size_t start = at;
            while (at < text.size() && (std::isalnum(static_cast<unsigned char>(text[at])) ||
                                        text[at] == '_' || text[at] == '.'))
                ++at;
            return std::make_unique<ExpressionParser::VariableNode>(text.substr(start, at - start));
        }
        fail("unexpected '" + std::string(1, c) + "'");
        return nullptr;
    }
    std::unique_ptr<Node> parseNumber()
    {
        const char* begin = text.c_str() + at;
        char* end = nullptr;
        bool hex = text.compare(at, 2, "0x") == 0 || text.compare(at, 2, "0X") == 0;
        size_t digits = at;
        while (digits < text.size() && std::isdigit(static_cast<unsigned char>(text[digits])))
            ++digits;
        bool isFloat = !hex && digits < text.size() &&
                       (text[digits] == '.' || text[digits] == 'e' || text[digits] == 'E');
        if (isFloat)
        {
            double value = std::strtod(begin, &end);
            if (end == begin)
            {
                fail("a number is malformed");
                return nullptr;
            }
            at += size_t(end - begin);
            return std::make_unique<Literal>(Variant::ofFloat(value));
        }
        unsigned long long value = std::strtoull(begin, &end, hex ? 16 : 10);
        at += size_t(end - begin);
        return std::make_unique<Literal>(Variant::ofInt(int64(value)));
    }

    const std::string& text;
    size_t at = 0;
    int depth = 0;
};

} // namespace

Variant ExpressionParser::VariableNode::evaluate(EvaluationContext& context) const
{
    return context.lookup ? context.lookup(name, context) : Variant::ofInt(0);
}

std::unique_ptr<ExpressionParser::Node> ExpressionParser::parse(const std::string& text,
                                                                std::string* error)
{
    Reader reader(text);
    auto node = reader.parseAll();
    if (!node && error)
        *error = reader.error;
    return node;
}

} // namespace QELXmlNodes
} // namespace Quillmark
