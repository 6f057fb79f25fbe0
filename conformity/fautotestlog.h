// The file "AutotestLog.txt": one line per test run with its verdict and full path, then its
// messages and its errors. Opened on the first line written, deleted at the start of each run.
// Owned by the controller of the test window.
#pragma once

#include "hosting/ftestnode.h"

#include <cstdio>
#include <functional>
#include <string>

namespace Quillmark
{

class FAutotestLog
{
public:
    /** Above this many messages and errors of one test, the writing is shown as progress. */
    static constexpr size_t kProgressThreshold = 10000;
    static constexpr size_t kProgressStep = 100;

    /** Told of the writing of a test with more than kProgressThreshold lines: (0, total)
        before the first line, the lines written so far every kProgressStep lines, and
        (total, total) after the last. */
    using Progress = std::function<void(size_t done, size_t total)>;

    /** `path` empty: "AutotestLog.txt" in the user data folder. */
    explicit FAutotestLog(std::string path = {});
    ~FAutotestLog();
    FAutotestLog(const FAutotestLog&) = delete;
    FAutotestLog& operator=(const FAutotestLog&) = delete;

    const std::string& getPath() const { return path; }
    void setProgress(Progress handler) { progress = std::move(handler); }

    /** Closes and deletes the file. */
    void remove();
    /** Closes the file and keeps it; the next line written appends. */
    void close();
    /** Appends the result of `node`; false when the file cannot be written. */
    bool write(const FTestNode& node);

    /** "Resetted: ", "Passed: " or "************ FAILED: " for a summary status. */
    static const char8* verdictText(int32 summaryStatus);

private:
    bool writeLine(const std::string& prefix, const ConstString& text);

    std::string path;
    std::FILE* file = nullptr;
    Progress progress;
};

} // namespace Quillmark
