// One status line on a terminal that rewrites itself in place: the class being tested, the
// current test, how many tests are done of how many, and the time since the start. Silent when
// not enabled, so redirected output never holds it. Owned by the command-line test job.
#pragma once

#include <chrono>
#include <iosfwd>
#include <string>

namespace Quillmark
{

class ProgressLine
{
public:
    /** `enabled` is normally whether stdout is a terminal; see stdoutIsTerminal. */
    ProgressLine(std::ostream& out, bool enabled);

    static bool stdoutIsTerminal();

    bool isEnabled() const { return enabled; }
    void addToTotal(int count) { total += count; }
    void setTotal(int count) { total = count; }
    int getTotal() const { return total; }
    void setDone(int count) { done = count; }
    void setCurrent(const std::string& className, const std::string& test);

    /** The text of the line, cut to `width` columns (0: no limit). */
    std::string text(double elapsedSeconds, size_t width) const;

    /** Draws the line again, with the time brought up to date. */
    void redraw();
    /** Takes the line away, so that other output can be written in its place. */
    void clear();

private:
    std::ostream& out;
    bool enabled;
    bool shown = false;
    int total = 0;
    int done = 0;
    std::string className;
    std::string test;
    std::chrono::steady_clock::time_point start;
};

} // namespace Quillmark
