// For the tests of the processing tests: fillers that put them into a tree the way the finished
// tree holds them, and the lines of "AutotestLog.txt" that a run writes, built up by hand.
#pragma once

#include "conformity/conformitytestsupport.h"
#include "conformity/process/qelprocessformattest.h"
#include "conformity/process/qelprocesstailtest.h"
#include "conformity/process/qelprocessthreadtest.h"
#include "conformity/process/qelsilenceflagstest.h"
#include "conformity/process/qelsilenceprocessingtest.h"
#include "conformity/process/qelspeakerarrangementtest.h"
#include "conformity/process/qelvariableblocksizetest.h"
#include "hosting/plugprovider.h"

#include <string>

namespace Quillmark::testing
{

template <class Test, class... Arguments>
void addTest(FTestNode& group, Qel::PlugProvider& provider, Arguments... arguments)
{
    auto* test = new Test(&provider, arguments...);
    group.addLeaf(test->getName(), test);
    test->release();
}

/** The processing tests of one sample size, in tree order. */
template <int32 Size> void fillProcessing(FTestNode& group, Qel::PlugProvider& provider)
{
    addTest<Qel::QelProcessTest>(group, provider, Size);
    addTest<Qel::QelSilenceFlagsTest>(group, provider, Size);
    addTest<Qel::QelSilenceProcessingTest>(group, provider, Size);
    addTest<Qel::QelProcessTailTest>(group, provider, Size);
    addTest<Qel::QelVariableBlockSizeTest>(group, provider, Size);
    addTest<Qel::QelProcessFormatTest>(group, provider, Size);
    addTest<Qel::QelProcessThreadTest>(group, provider, Size);
}

template <int32 Size> void fillTail(FTestNode& group, Qel::PlugProvider& provider)
{
    addTest<Qel::QelProcessTailTest>(group, provider, Size);
}

inline const std::string kGroup32 = "QEL3 Conformity/Audio Processing 32bit";
inline const std::string kGroup64 = "Special Features/Audio Processing 64bit";

/** "Root/<kind>/<class>/<kind>/<group>/", the start of every path in a log. */
inline std::string logPrefix(const std::string& kind, const std::string& className,
                             const std::string& group)
{
    return "Root/" + kind + "/" + className + "/" + kind + "/" + group + "/";
}

/** The node path of a group, as runTree takes it. */
inline std::string groupPath(const std::string& kind, const std::string& className,
                             const std::string& group)
{
    return kind + "/" + className + "/" + kind + "/" + group;
}

inline std::string passed(const std::string& path)
{
    return "Test: Passed: " + path + "\r\n";
}
inline std::string failed(const std::string& path)
{
    return "Test: ************ FAILED: " + path + "\r\n";
}
inline std::string message(const std::string& text)
{
    return "  ->Message: " + text + "\r\n";
}
inline std::string error(const std::string& text)
{
    return "  ->ERROR: " + text + "\r\n";
}
inline std::string banner(const std::string& name)
{
    return message("===" + name + " ====================================");
}
inline std::string tailBanner(const std::string& tail)
{
    return message("===Check Tail processing == Tail=" + tail + " ======================");
}

/** The rates of "Process Format" as the log prints them: a blank, then ten places. */
inline const std::string kRateTexts[] = {"      22050", "      32000", "      44100", "      48000",
                                         "      88200", "      96000", "     192000", "  1234.5678",
                                         "  12345.678", "  123456.78", "  1234567.8"};

/** "Process Format" of a plug-in that takes and processes every rate. */
inline std::string formatPassed(const std::string& prefix)
{
    std::string text = passed(prefix + "Process Format") + banner("Process Format") +
                       message("***Tested Sample Rates***");
    for (const std::string& rate : kRateTexts)
        text += message(rate + " Hz - processed successfully!");
    return text;
}

/** The whole group for an effect that does everything right, with tail `tail`. */
inline std::string groupPassed(const std::string& prefix, const std::string& tail)
{
    return passed(prefix + "Process Test") + passed(prefix + "Silence Flags") +
           banner("Silence Flags") + passed(prefix + "Silence Processing") +
           banner("Silence Processing") + passed(prefix + "Check Tail processing") +
           tailBanner(tail) + passed(prefix + "Variable Block Size") +
           banner("Variable Block Size") + formatPassed(prefix) +
           passed(prefix + "Process function running in another thread");
}

} // namespace Quillmark::testing
