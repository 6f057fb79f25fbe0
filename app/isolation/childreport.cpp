#include "app/isolation/childreport.h"

#include "hosting/ftestnode.h"

#include <cstdlib>
#include <string.h> // sigabbrev_np, strsignal

namespace Quillmark
{

namespace
{

std::string signalName(int signal)
{
    const char* abbreviation = sigabbrev_np(signal);
    std::string name =
        abbreviation ? std::string("SIG") + abbreviation : "signal " + std::to_string(signal);
    if (const char* description = strsignal(signal))
        name += std::string(" (") + description + ")";
    return name;
}

std::string shortSignalName(int signal)
{
    const char* abbreviation = sigabbrev_np(signal);
    return abbreviation ? std::string("SIG") + abbreviation : "signal " + std::to_string(signal);
}

std::string formatSeconds(double seconds)
{
    std::string text = std::to_string(seconds);
    // "2.000000" -> "2", "2.500000" -> "2.5"
    text.erase(text.find_last_not_of('0') + 1);
    if (!text.empty() && text.back() == '.')
        text.pop_back();
    return text;
}

} // namespace

ChildReport::ChildReport(std::string unitPath, Listener listener)
    : unitPath(std::move(unitPath)), listener(std::move(listener))
{
}

std::string ChildReport::describe(const ProcessEnd& processEnd, const std::string& fatalNote,
                                  std::string& note)
{
    const std::string exceptionPrefix = "exception ";
    if (fatalNote.rfind(exceptionPrefix, 0) == 0)
    {
        note = "uncaught exception";
        return "The test process was ended by an uncaught C++ exception: " +
               fatalNote.substr(exceptionPrefix.size());
    }
    switch (processEnd.kind)
    {
    case ProcessEnd::kSignalled:
        note = shortSignalName(processEnd.signal);
        return "The test process was ended by signal " + signalName(processEnd.signal);
    case ProcessEnd::kTimedOut:
        note = "no progress for " + formatSeconds(processEnd.timeLimit) + " s";
        return "No progress for " + formatSeconds(processEnd.timeLimit) +
               " s, the time limit per test: the test process was killed";
    case ProcessEnd::kExited:
        note = "exit status " + std::to_string(processEnd.code);
        return "The test process exited with status " + std::to_string(processEnd.code) +
               " before its tests were over";
    case ProcessEnd::kNotStarted:
        break;
    }
    note = "not started";
    return "The test process could not be started";
}

std::string ChildReport::reasonOfEnd(const ProcessEnd& processEnd) const
{
    std::string note;
    return describe(processEnd, fatalNote, note);
}

ChildReport::Planned* ChildReport::findPlanned(const std::string& path)
{
    for (Planned& planned : plan)
        if (planned.path == path)
            return &planned;
    return nullptr;
}

ChildReport::Planned* ChildReport::firstUnfinishedBelow(const std::string& groupPath)
{
    const std::string prefix = groupPath + "/";
    for (Planned& planned : plan)
        if (!planned.finished && planned.path.rfind(prefix, 0) == 0)
            return &planned;
    return nullptr;
}

void ChildReport::closeOpen(const std::string& path)
{
    for (size_t index = open.size(); index-- > 0;)
        if (open[index].first == path)
        {
            open.resize(index);
            return;
        }
}

void ChildReport::receiveLine(const std::string& line, double now)
{
    if (auto record = ReportRecord::decode(line))
        receive(*record, now);
}

void ChildReport::receive(const ReportRecord& record, double now)
{
    const std::vector<std::string>& fields = record.fields;
    switch (record.kind)
    {
    case ReportRecord::kPlan:
        plan.push_back({fields[0], fields[1]});
        if (listener.planned)
            listener.planned(fields[0], fields[1]);
        break;
    case ReportRecord::kBegin:
        open.emplace_back(fields[0], now);
        if (Planned* planned = findPlanned(fields[0]))
        {
            testStarted = true;
            if (listener.started)
                listener.started(planned->path, planned->suite);
        }
        break;
    case ReportRecord::kMessage:
        pendingMessages.push_back(fields[0]);
        break;
    case ReportRecord::kError:
        pendingErrors.push_back(fields[0]);
        break;
    case ReportRecord::kResult:
    {
        TestOutcome outcome;
        outcome.path = fields[0];
        outcome.suite = fields[1];
        outcome.status = std::atoi(fields[2].c_str());
        outcome.summary = std::atoi(fields[3].c_str());
        outcome.leaf = fields[4] == "1";
        outcome.seconds = std::atof(fields[5].c_str()) / 1000.0;
        const auto start = uint32(std::strtoul(fields[6].c_str(), nullptr, 10));
        const auto end = uint32(std::strtoul(fields[7].c_str(), nullptr, 10));
        if (start != end)
            outcome.randomState = start;
        randomState = end;
        outcome.messages = std::move(pendingMessages);
        outcome.errors = std::move(pendingErrors);
        pendingMessages.clear();
        pendingErrors.clear();
        if (!outcome.leaf)
            outcome.note =
                outcome.status == FTestNode::kSetupFailed ? "setup failed" : "teardown failed";
        if (Planned* planned = findPlanned(outcome.path))
            planned->finished = true;
        closeOpen(outcome.path);
        if (listener.finished)
            listener.finished(outcome);
        break;
    }
    case ReportRecord::kGroupEnd:
        closeOpen(fields[0]);
        break;
    case ReportRecord::kFatal:
        // The first note counts: an uncaught exception is noted before the abort it causes.
        if (fatalNote.empty())
            fatalNote = fields[0];
        break;
    case ReportRecord::kDone:
        done = true;
        randomState = uint32(std::strtoul(fields[0].c_str(), nullptr, 10));
        break;
    }
}

ChildReport::Ending ChildReport::end(const ProcessEnd& processEnd, double now, bool blame)
{
    Ending ending;
    if (!done && blame)
    {
        TestOutcome blamed;
        blamed.status = FTestNode::kFailed;
        blamed.summary = FTestNode::kFailed;
        blamed.messages = std::move(pendingMessages);
        std::string reason = describe(processEnd, fatalNote, blamed.note);

        // The innermost node still running decides: a test takes the blame itself; a group
        // hands it to its first test that has not run, since that test was the next to need
        // what the group was preparing.
        Planned* target = nullptr;
        std::string group;
        double since = now;
        if (!open.empty())
        {
            const auto& [path, begun] = open.back();
            since = begun;
            target = findPlanned(path);
            if (!target)
            {
                group = path;
                target = firstUnfinishedBelow(path);
            }
        }
        else
        {
            for (Planned& planned : plan)
                if (!planned.finished)
                {
                    target = &planned;
                    break;
                }
        }
        if (target)
        {
            blamed.path = target->path;
            blamed.suite = target->suite;
            target->finished = true;
            if (!group.empty())
                reason += ", while " + group + " was being prepared for this test";
        }
        else
        {
            // Nothing left to blame but the group (or the whole unit): it ended while being
            // taken down, or before it planned anything.
            blamed.path = group.empty() ? unitPath : group;
            blamed.suite = blamed.path;
            blamed.leaf = false;
        }
        blamed.errors = std::move(pendingErrors);
        blamed.errors.push_back(reason);
        blamed.seconds = now - since;
        ending.blamed = std::move(blamed);
    }

    for (const Planned& planned : plan)
        if (planned.finished)
            ending.lastSettled = planned.path;
    for (const Planned& planned : plan)
        if (!planned.finished)
        {
            TestOutcome outcome;
            outcome.path = planned.path;
            outcome.suite = planned.suite;
            outcome.ran = false;
            ending.notRun.push_back(std::move(outcome));
        }
    open.clear();
    return ending;
}

} // namespace Quillmark
