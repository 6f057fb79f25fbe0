#include "app/isolation/reportrecord.h"

namespace Quillmark
{

namespace
{

size_t fieldCount(ReportRecord::Kind kind)
{
    switch (kind)
    {
    case ReportRecord::kPlan:
        return 2;
    case ReportRecord::kBegin:
    case ReportRecord::kMessage:
    case ReportRecord::kError:
    case ReportRecord::kGroupEnd:
    case ReportRecord::kFatal:
        return 1;
    case ReportRecord::kResult:
        return 8;
    case ReportRecord::kDone:
        return 1;
    }
    return 0;
}

bool isKind(char c)
{
    switch (c)
    {
    case ReportRecord::kPlan:
    case ReportRecord::kBegin:
    case ReportRecord::kMessage:
    case ReportRecord::kError:
    case ReportRecord::kResult:
    case ReportRecord::kGroupEnd:
    case ReportRecord::kFatal:
    case ReportRecord::kDone:
        return true;
    default:
        return false;
    }
}

} // namespace

std::string ReportRecord::escape(const std::string& text)
{
    std::string result;
    result.reserve(text.size());
    for (char c : text)
    {
        switch (c)
        {
        case '\\':
            result += "\\\\";
            break;
        case '\t':
            result += "\\t";
            break;
        case '\n':
            result += "\\n";
            break;
        case '\r':
            result += "\\r";
            break;
        default:
            result += c;
        }
    }
    return result;
}

std::string ReportRecord::unescape(const std::string& text)
{
    std::string result;
    result.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i)
    {
        if (text[i] != '\\' || i + 1 == text.size())
        {
            result += text[i];
            continue;
        }
        switch (text[++i])
        {
        case 't':
            result += '\t';
            break;
        case 'n':
            result += '\n';
            break;
        case 'r':
            result += '\r';
            break;
        default:
            result += text[i];
        }
    }
    return result;
}

std::string ReportRecord::encode() const
{
    std::string line(1, static_cast<char>(kind));
    for (const std::string& field : fields)
        line += '\t' + escape(field);
    return line + '\n';
}

std::optional<ReportRecord> ReportRecord::decode(const std::string& line)
{
    if (line.empty() || !isKind(line[0]) || (line.size() > 1 && line[1] != '\t'))
        return std::nullopt;
    ReportRecord record;
    record.kind = static_cast<Kind>(line[0]);
    for (size_t start = 2; start <= line.size() && line.size() > 1;)
    {
        size_t tab = line.find('\t', start);
        record.fields.push_back(unescape(line.substr(start, tab - start)));
        if (tab == std::string::npos)
            break;
        start = tab + 1;
    }
    if (record.fields.size() != fieldCount(record.kind))
        return std::nullopt;
    return record;
}

} // namespace Quillmark
