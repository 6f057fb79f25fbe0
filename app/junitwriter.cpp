#include "app/junitwriter.h"

#include <cstdio>
#include <ctime>
#include <fstream>
#include <map>
#include <ostream>

namespace Quillmark
{

namespace
{

constexpr const char* kReplacement = "\xEF\xBF\xBD";

/** The length of the UTF-8 sequence at `index` and its code point; 0 when it is no valid
    sequence. */
size_t decodeUtf8(const std::string& text, size_t index, uint32_t& codePoint)
{
    const auto byte = [&](size_t at) { return static_cast<unsigned char>(text[at]); };
    const unsigned char first = byte(index);
    size_t length = first < 0x80           ? 1
                    : (first >> 5) == 0x6  ? 2
                    : (first >> 4) == 0xE  ? 3
                    : (first >> 3) == 0x1E ? 4
                                           : 0;
    if (length == 0 || index + length > text.size())
        return 0;
    codePoint = length == 1 ? first : first & (0x7F >> length);
    for (size_t next = 1; next < length; ++next)
    {
        if ((byte(index + next) & 0xC0) != 0x80)
            return 0;
        codePoint = (codePoint << 6) | (byte(index + next) & 0x3F);
    }
    static constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    if (codePoint < kSmallest[length] || codePoint > 0x10FFFF ||
        (codePoint >= 0xD800 && codePoint <= 0xDFFF))
        return 0;
    return length;
}

bool allowedInXml(uint32_t codePoint)
{
    if (codePoint < 0x20)
        return codePoint == 0x9 || codePoint == 0xA || codePoint == 0xD;
    return codePoint != 0xFFFE && codePoint != 0xFFFF;
}

std::string seconds(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", value < 0.0 ? 0.0 : value);
    return text;
}

std::string join(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += (text.empty() ? "" : "\n") + line;
    return text;
}

std::string caseName(const TestOutcome& outcome)
{
    const std::string prefix = outcome.suite + "/";
    if (outcome.path.size() > prefix.size() && outcome.path.rfind(prefix, 0) == 0)
        return outcome.path.substr(prefix.size());
    return outcome.path;
}

struct Suite
{
    std::string name;
    std::vector<const TestOutcome*> cases;
    int failures = 0;
    int skipped = 0;
    double time = 0.0;
};

} // namespace

JUnitWriter::JUnitWriter(std::string timestamp) : timestamp(std::move(timestamp)) {}

std::string JUnitWriter::currentTimestamp()
{
    std::time_t now = std::time(nullptr);
    std::tm local = {};
    localtime_r(&now, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &local);
    return text;
}

std::string JUnitWriter::escape(const std::string& text, bool attribute)
{
    std::string result;
    result.reserve(text.size());
    for (size_t index = 0; index < text.size();)
    {
        uint32_t codePoint = 0;
        size_t length = decodeUtf8(text, index, codePoint);
        if (length == 0)
        {
            result += kReplacement;
            ++index;
            continue;
        }
        if (!allowedInXml(codePoint))
            result += kReplacement;
        else if (codePoint == '&')
            result += "&amp;";
        else if (codePoint == '<')
            result += "&lt;";
        else if (codePoint == '>')
            result += "&gt;";
        else if (attribute && codePoint == '"')
            result += "&quot;";
        else if (attribute && codePoint == '\n')
            result += "&#10;";
        else if (attribute && codePoint == '\r')
            result += "&#13;";
        else if (attribute && codePoint == '\t')
            result += "&#9;";
        else if (codePoint == '\r')
            result += "&#13;"; // a bare CR in content would be read back as a line feed
        else
            result.append(text, index, length);
        index += length;
    }
    return result;
}

void JUnitWriter::write(std::ostream& out, const std::vector<TestOutcome>& outcomes) const
{
    std::vector<Suite> suites;
    std::map<std::string, size_t> suiteIndex;
    int failures = 0, skipped = 0;
    double time = 0.0;
    for (const TestOutcome& outcome : outcomes)
    {
        auto [it, added] = suiteIndex.emplace(outcome.suite, suites.size());
        if (added)
            suites.push_back({outcome.suite, {}, 0, 0, 0.0});
        Suite& suite = suites[it->second];
        suite.cases.push_back(&outcome);
        suite.time += outcome.seconds;
        time += outcome.seconds;
        if (!outcome.ran)
            ++suite.skipped, ++skipped;
        else if (!outcome.passed())
            ++suite.failures, ++failures;
    }

    auto attr = [](const std::string& text) { return escape(text, true); };
    out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    out << "<testsuites name=\"Qel3PluginTestHost\" tests=\"" << outcomes.size() << "\" failures=\""
        << failures << "\" errors=\"0\" skipped=\"" << skipped << "\" time=\"" << seconds(time)
        << "\">\n";
    int id = 0;
    for (const Suite& suite : suites)
    {
        out << "  <testsuite name=\"" << attr(suite.name) << "\" id=\"" << id++ << "\" tests=\""
            << suite.cases.size() << "\" failures=\"" << suite.failures
            << "\" errors=\"0\" skipped=\"" << suite.skipped << "\" time=\"" << seconds(suite.time)
            << "\" timestamp=\"" << attr(timestamp) << "\">\n";
        for (const TestOutcome* outcome : suite.cases)
        {
            out << "    <testcase classname=\"" << attr(suite.name) << "\" name=\""
                << attr(caseName(*outcome)) << "\" time=\"" << seconds(outcome->seconds) << "\"";
            const bool failed = outcome->ran && !outcome->passed();
            if (outcome->ran && !failed && outcome->messages.empty() && !outcome->randomState)
            {
                out << "/>\n";
                continue;
            }
            out << ">\n";
            // Where the random numbers stood as the test began: --random-state repeats it.
            if (outcome->randomState)
                out << "      <properties><property name=\"random-state\" value=\""
                    << *outcome->randomState << "\"/></properties>\n";
            if (!outcome->ran)
                out << "      <skipped message=\"not run: the test process of its class ended "
                       "before this test\"/>\n";
            if (failed)
            {
                std::string message = !outcome->errors.empty() ? outcome->errors.front()
                                      : !outcome->note.empty() ? outcome->note
                                                               : "failed";
                out << "      <failure message=\"" << attr(message) << "\" type=\""
                    << attr(outcome->note.empty() ? "failure" : outcome->note) << "\">"
                    << escape(join(outcome->errors)) << "</failure>\n";
            }
            if (!outcome->messages.empty())
                out << "      <system-out>" << escape(join(outcome->messages)) << "</system-out>\n";
            out << "    </testcase>\n";
        }
        out << "  </testsuite>\n";
    }
    out << "</testsuites>\n";
}

bool JUnitWriter::writeFile(const std::string& path, const std::vector<TestOutcome>& outcomes,
                            std::string& error) const
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file)
    {
        error = "cannot write " + path;
        return false;
    }
    write(file, outcomes);
    file.flush();
    if (!file)
    {
        error = "cannot write " + path;
        return false;
    }
    return true;
}

} // namespace Quillmark
