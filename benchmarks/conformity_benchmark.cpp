// Speed of the conformity suite: the whole tree of one class (global and local instances) over
// "Qel Gain", run a few times. Prints the wall time per run, tests per second, and the share of
// samples whose program counter lay in the module's own code, taken every 50 microseconds.
// Usage: conformity_benchmark [RUNS] [CLASS]

#include "base/fmainloop.h"
#include "base/platform/paths.h"
#include "conformity/ftreebuilder.h"
#include "conformity/funittestingdialogcontroller.h"
#include "hosting/fcomponentregistry.h"
#include "hosting/fmodule.h"
#include "hosting/ftester.h"

#include <link.h>
#include <signal.h>
#include <time.h>
#include <ucontext.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

using namespace Quillmark;

namespace
{

struct CodeRange
{
    uintptr_t start = 0;
    uintptr_t end = 0;
};

// Written before the timer starts, read by the signal handler only.
std::vector<CodeRange> moduleCode;
std::atomic<long> samplesTotal{0};
std::atomic<long> samplesInModule{0};

void onProfileSignal(int, siginfo_t*, void* context)
{
#if defined(__x86_64__)
    auto pc = uintptr_t(static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_RIP]);
#elif defined(__aarch64__)
    auto pc = uintptr_t(static_cast<ucontext_t*>(context)->uc_mcontext.pc);
#else
    uintptr_t pc = 0;
#endif
    samplesTotal.fetch_add(1, std::memory_order_relaxed);
    for (const CodeRange& range : moduleCode)
        if (pc >= range.start && pc < range.end)
        {
            samplesInModule.fetch_add(1, std::memory_order_relaxed);
            return;
        }
}

/** The executable segments of every loaded object whose path contains `name`. */
std::vector<CodeRange> findCode(const std::string& name)
{
    struct Search
    {
        std::string name;
        std::vector<CodeRange> found;
    } search{name, {}};
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* data)
        {
            auto* search = static_cast<Search*>(data);
            if (!info->dlpi_name ||
                std::string(info->dlpi_name).find(search->name) == std::string::npos)
                return 0;
            for (int index = 0; index < info->dlpi_phnum; ++index)
            {
                const ElfW(Phdr)& header = info->dlpi_phdr[index];
                if (header.p_type == PT_LOAD && (header.p_flags & PF_X))
                    search->found.push_back({info->dlpi_addr + header.p_vaddr,
                                             info->dlpi_addr + header.p_vaddr + header.p_memsz});
            }
            return 0;
        },
        &search);
    return search.found;
}

class Sampler
{
public:
    Sampler()
    {
        struct sigaction action = {};
        action.sa_sigaction = onProfileSignal;
        action.sa_flags = SA_SIGINFO | SA_RESTART;
        sigaction(SIGPROF, &action, nullptr);
        sigevent event = {};
        event.sigev_notify = SIGEV_SIGNAL;
        event.sigev_signo = SIGPROF;
        // A wall-clock timer: process CPU timers fire only at the scheduler's tick, far too
        // seldom for runs of a few milliseconds. The run is one busy thread, so wall time and
        // CPU time agree closely.
        ok = timer_create(CLOCK_MONOTONIC, &event, &timer) == 0;
    }
    ~Sampler()
    {
        if (ok)
            timer_delete(timer);
    }
    void start()
    {
        itimerspec every = {{0, 50000}, {0, 50000}}; // every 50 microseconds
        if (ok)
            timer_settime(timer, 0, &every, nullptr);
    }
    void stop()
    {
        itimerspec off = {};
        if (ok)
            timer_settime(timer, 0, &off, nullptr);
    }

private:
    timer_t timer{};
    bool ok = false;
};

} // namespace

int main(int argc, char** argv)
{
    int runs = argc > 1 ? std::max(1, std::atoi(argv[1])) : 20;
    std::string className = argc > 2 ? argv[2] : "Qel Gain";

    std::string userData = std::filesystem::temp_directory_path() / "qel-conformity-benchmark";
    std::filesystem::create_directories(userData);
    setenv("XDG_CONFIG_HOME", userData.c_str(), 1);

    auto* registry = new FComponentRegistry;
    if (registry->scanFolder(QEL_MODULE_DIR) == 0)
    {
        std::fprintf(stderr, "conformity_benchmark: no module in %s\n", QEL_MODULE_DIR);
        return 1;
    }
    FTester* tester = FTester::instance();
    tester->setRememberSettings(false);
    auto builder = std::make_unique<FTreeBuilder>(*registry);
    builder->setClassFilter(className);
    tester->addInitializer(std::move(builder));

    // One instance held for the whole benchmark keeps the module loaded, so its code stays
    // where the sampler looks for it.
    FUnknown* keeper = nullptr;
    std::vector<FComponentDescription*> classes;
    registry->collectCategory("Audio Module Class", classes);
    for (FComponentDescription* description : classes)
        if (description->getName().toUtf8() == className)
            keeper = registry->createInstance(description->getCid());
    if (!keeper)
    {
        std::fprintf(stderr, "conformity_benchmark: class %s not found\n", className.c_str());
        return 1;
    }
    moduleCode = findCode("/QelGain.so");

    Sampler sampler;
    std::vector<double> seconds;
    int32 leaves = 0;
    int32 failed = 0;
    // Timed runs first, then as many sampled runs: the sampler's signals cost time of their own.
    for (int run = 0; run < 2 * runs; ++run)
    {
        const bool sampled = run >= runs;
        auto* controller = new FUnitTestingDialogController(*tester, userData + "/AutotestLog.txt");
        leaves = tester->countTests();
        failed = 0;
        controller->setTestListener([&](const FTestNode& node)
                                    { failed += node.getSummaryStatus() != FTestNode::kPassed; });
        if (sampled)
            sampler.start();
        auto begin = std::chrono::steady_clock::now();
        controller->findValue("runAll")->setInt(1);
        auto end = std::chrono::steady_clock::now();
        if (sampled)
            sampler.stop();
        else
            seconds.push_back(std::chrono::duration<double>(end - begin).count());
        controller->release();
        FMainLoop::instance()->dispatchDue();
    }
    keeper->release();
    tester->removeInitializers();

    std::sort(seconds.begin(), seconds.end());
    double median = seconds[seconds.size() / 2];
    long total = samplesTotal.load();
    std::printf("class: %s\n", className.c_str());
    std::printf("tests per run: %d (%d not passed)\n", leaves, failed);
    std::printf("wall time per run: median %.3f s, best %.3f s over %d runs\n", median,
                seconds.front(), runs);
    std::printf("tests per second: %.0f\n", median > 0 ? leaves / median : 0.0);
    if (total > 0)
        std::printf("share of samples in the module's own code: %.1f %% (%ld samples, "
                    "%zu code ranges)\n",
                    100.0 * double(samplesInModule.load()) / double(total), total,
                    moduleCode.size());
    else
        std::printf("share of samples in the module's own code: no samples taken\n");
    registry->release();
    return 0;
}
