// Scan speed with a warm module cache: 200 module files whose classes are all cached must be
// scanned without loading any library. Prints the uncached first scan, the cached scan, and the
// number of libraries the cached scan loaded.

#include "base/fdefaults.h"
#include "base/platform/dynlib.h"
#include "base/platform/files.h"
#include "base/platform/paths.h"
#include "hosting/fcomponentregistry.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace fs = std::filesystem;
using namespace Quillmark;

namespace
{

constexpr int kModuleCount = 200;

struct Workspace
{
    fs::path root;
    fs::path modules;
    fs::path config;

    Workspace()
    {
        char pattern[] = "/tmp/qel-scan-benchmark-XXXXXX";
        root = mkdtemp(pattern);
        modules = root / "modules";
        config = root / "config";
        fs::create_directories(modules);
        fs::create_directories(config);
        fs::path source = fs::path(QEL_FIXTURE_DIR) / "fx_self_named.so";
        for (int i = 0; i < kModuleCount; ++i)
        {
            char name[64];
            std::snprintf(name, sizeof(name), "bench_module_%03d.so", i);
            fs::copy_file(source, modules / name);
        }
    }

    ~Workspace() { fs::remove_all(root); }
};

Workspace& workspace()
{
    static Workspace instance;
    return instance;
}

int scanOnce()
{
    auto* registry = new FComponentRegistry;
    registry->setCacheFolder(workspace().config.string());
    int found = registry->scanFolder(workspace().modules.string());
    int classes = registry->countDescriptions();
    registry->release();
    return found == kModuleCount ? classes : -1;
}

void BM_FirstScanUncached(benchmark::State& state)
{
    for (auto _ : state)
    {
        state.PauseTiming();
        fs::remove(workspace().config / "Module Cache");
        fs::remove(workspace().config / "Module Cache.bak");
        long before = platform::loadedLibraryCount();
        state.ResumeTiming();
        int classes = scanOnce();
        state.PauseTiming();
        state.counters["classes"] = classes;
        state.counters["libraries_loaded"] = double(platform::loadedLibraryCount() - before);
        state.ResumeTiming();
    }
}
BENCHMARK(BM_FirstScanUncached)->Unit(benchmark::kMillisecond)->Iterations(3);

void BM_CachedScan(benchmark::State& state)
{
    if (scanOnce() != kModuleCount)
    {
        state.SkipWithError("the warm-up scan did not find every module");
        return;
    }
    long before = platform::loadedLibraryCount();
    int classes = 0;
    for (auto _ : state)
        classes = scanOnce();
    state.counters["classes"] = classes;
    state.counters["libraries_loaded"] = double(platform::loadedLibraryCount() - before);
}
BENCHMARK(BM_CachedScan)->Unit(benchmark::kMillisecond)->MinTime(1.0);

} // namespace

BENCHMARK_MAIN();
