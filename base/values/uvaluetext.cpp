#include "base/values/uvaluetext.h"

#include <cerrno>
#include <charconv>
#include <cmath>

namespace Quillmark
{
namespace ValueText
{

std::string trimmed(const ConstString& text)
{
    std::string body = text.toUtf8();
    size_t first = body.find_first_not_of(" \t");
    if (first == std::string::npos)
        return std::string();
    size_t last = body.find_last_not_of(" \t");
    return body.substr(first, last - first + 1);
}

bool parseInteger(const std::string& text, int64& result)
{
    const char* begin = text.data();
    const char* end = begin + text.size();
    // from_chars takes no "+", which people do type.
    if (begin != end && *begin == '+' && end - begin > 1 && begin[1] != '-')
        ++begin;
    int64 parsed = 0;
    auto [rest, error] = std::from_chars(begin, end, parsed);
    if (error != std::errc() || rest != end || begin == end)
        return false;
    result = parsed;
    return true;
}

bool parseDouble(const std::string& text, double& result)
{
    const char* begin = text.data();
    const char* end = begin + text.size();
    if (begin != end && *begin == '+' && end - begin > 1 && begin[1] != '-')
        ++begin;
    double parsed = 0;
    // from_chars does not depend on the locale, so "0.5" reads the same everywhere.
    auto [rest, error] = std::from_chars(begin, end, parsed, std::chars_format::general);
    if (error != std::errc() || rest != end || begin == end || !std::isfinite(parsed))
        return false;
    result = parsed;
    return true;
}

} // namespace ValueText
} // namespace Quillmark
