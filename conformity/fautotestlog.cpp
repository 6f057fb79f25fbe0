#include "conformity/fautotestlog.h"

#include "base/platform/paths.h"

#include <filesystem>

namespace Quillmark
{

FAutotestLog::FAutotestLog(std::string path)
    : path(path.empty() ? platform::userDataFolder() + "/AutotestLog.txt" : std::move(path))
{
}

FAutotestLog::~FAutotestLog()
{
    if (file)
        std::fclose(file);
}

void FAutotestLog::remove()
{
    if (file)
    {
        std::fclose(file);
        file = nullptr;
    }
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
}

void FAutotestLog::close()
{
    if (file)
    {
        std::fclose(file);
        file = nullptr;
    }
}

const char8* FAutotestLog::verdictText(int32 summaryStatus)
{
    switch (summaryStatus)
    {
    case FTestNode::kReset:
        return "Resetted: ";
    case FTestNode::kPassed:
        return "Passed: ";
    default:
        return "************ FAILED: ";
    }
}

bool FAutotestLog::writeLine(const std::string& prefix, const ConstString& text)
{
    std::string line = prefix + text.toUtf8() + "\r\n";
    return std::fwrite(line.data(), 1, line.size(), file) == line.size();
}

bool FAutotestLog::write(const FTestNode& node)
{
    if (!file)
    {
        std::error_code ignored;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
        file = std::fopen(path.c_str(), "ab");
        if (!file)
            return false;
    }
    bool ok =
        writeLine(std::string("Test: ") + verdictText(node.getSummaryStatus()), node.getPath());
    const size_t total = node.getMessages().size() + node.getErrors().size();
    const bool showProgress = total > kProgressThreshold && progress;
    size_t done = 0;
    if (showProgress)
        progress(0, total);
    auto step = [&]
    {
        if (showProgress && ++done % kProgressStep == 0)
            progress(done, total);
    };
    for (const String& message : node.getMessages())
    {
        ok = writeLine("  ->Message: ", message) && ok;
        step();
    }
    for (const String& error : node.getErrors())
    {
        ok = writeLine("  ->ERROR: ", error) && ok;
        step();
    }
    if (showProgress)
        progress(total, total);
    // Flushed per test, so a run that is stopped or crashes keeps what ran.
    return std::fflush(file) == 0 && ok;
}

} // namespace Quillmark
