#include "app/testreporter.h"

#include <ostream>

namespace Quillmark
{

std::string TestReporter::withoutRoot(const std::string& path)
{
    const std::string root = "Root/";
    return path.rfind(root, 0) == 0 ? path.substr(root.size()) : path;
}

TestReporter::TestReporter(std::ostream& out, ProgressLine& progress) : out(out), progress(progress)
{
}

std::string TestReporter::verdictLine(const TestOutcome& outcome)
{
    std::string line = (outcome.passed() ? "Passed: " : "FAILED: ") + outcome.path;
    if (!outcome.note.empty())
        line += " (" + outcome.note + ")";
    return line;
}

void TestReporter::started(const std::string& path, const std::string& suite)
{
    std::string test = path.rfind(suite + "/", 0) == 0 ? path.substr(suite.size() + 1) : path;
    progress.setCurrent(withoutRoot(suite), withoutRoot(test));
    progress.redraw();
}

void TestReporter::finished(const TestOutcome& outcome)
{
    outcomes.push_back(outcome);
    if (!outcome.ran)
    {
        ++notRun;
        return;
    }
    (outcome.passed() ? passed : failed)++;
    progress.clear();
    out << verdictLine(outcome) << "\n";
    out.flush();
    if (outcome.leaf)
        progress.setDone(++leavesDone);
    progress.redraw();
}

void TestReporter::diagnostic(std::ostream& stream, const std::string& text)
{
    progress.clear();
    stream << text;
    stream.flush();
    progress.redraw();
}

void TestReporter::printSummary()
{
    progress.clear();
    out << passed << " passed, " << failed << " failed\n";
    out.flush();
}

} // namespace Quillmark
