#include "app/progressline.h"

#include <cstdio>
#include <ostream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Quillmark
{

namespace
{

size_t terminalWidth()
{
    winsize size = {};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1)
        return size.ws_col - 1; // the last column would make some terminals wrap
    return 79;
}

/** Cuts `text` to `width` characters of UTF-8, never inside a character. */
std::string cut(const std::string& text, size_t width)
{
    size_t characters = 0;
    for (size_t index = 0; index < text.size(); ++index)
    {
        if ((static_cast<unsigned char>(text[index]) & 0xC0) == 0x80)
            continue;
        if (characters++ == width)
            return text.substr(0, index);
    }
    return text;
}

} // namespace

ProgressLine::ProgressLine(std::ostream& out, bool enabled)
    : out(out), enabled(enabled), start(std::chrono::steady_clock::now())
{
}

bool ProgressLine::stdoutIsTerminal()
{
    return ::isatty(STDOUT_FILENO) == 1;
}

void ProgressLine::setCurrent(const std::string& newClassName, const std::string& newTest)
{
    className = newClassName;
    test = newTest;
}

std::string ProgressLine::text(double elapsedSeconds, size_t width) const
{
    const long seconds = long(elapsedSeconds);
    char counts[96];
    std::snprintf(counts, sizeof counts, "[%d/%d %02ld:%02ld] ", done, total, seconds / 60,
                  seconds % 60);
    std::string line = counts + className;
    if (!test.empty())
        line += (className.empty() ? "" : ": ") + test;
    return width ? cut(line, width) : line;
}

void ProgressLine::redraw()
{
    if (!enabled)
        return;
    const double elapsed =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    out << "\r\033[K" << text(elapsed, terminalWidth());
    out.flush();
    shown = true;
}

void ProgressLine::clear()
{
    if (!enabled || !shown)
        return;
    out << "\r\033[K";
    out.flush();
    shown = false;
}

} // namespace Quillmark
