// What the real-time watch costs a program that does not use it: malloc and free, and a free
// mutex, through the program's own definitions with the watch off, beside the C library's
// functions called directly. And the same calls inside a watched section, for scale.
#include "rtcheck/callwatch.h"

#include <benchmark/benchmark.h>

#include <dlfcn.h>
#include <pthread.h>

#include <cstdlib>

extern "C"
{
    void* __libc_malloc(std::size_t);
    void __libc_free(void*);
}

namespace
{

using Quillmark::CallRecord;
using Quillmark::CallWatch;
using Quillmark::WatchedSection;

void MallocFreeDirect(benchmark::State& state)
{
    for (auto _ : state)
    {
        void* memory = __libc_malloc(64);
        benchmark::DoNotOptimize(memory);
        __libc_free(memory);
    }
}
BENCHMARK(MallocFreeDirect);

void MallocFreeWatchOff(benchmark::State& state)
{
    CallWatch::prepare();
    for (auto _ : state)
    {
        void* memory = std::malloc(64);
        benchmark::DoNotOptimize(memory);
        std::free(memory);
    }
}
BENCHMARK(MallocFreeWatchOff);

void MallocFreeWatched(benchmark::State& state)
{
    CallWatch::prepare();
    CallRecord record;
    WatchedSection section(record);
    for (auto _ : state)
    {
        void* memory = std::malloc(64);
        benchmark::DoNotOptimize(memory);
        std::free(memory);
    }
}
BENCHMARK(MallocFreeWatched);

using MutexCall = int (*)(pthread_mutex_t*);

void MutexDirect(benchmark::State& state)
{
    auto lock = reinterpret_cast<MutexCall>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    auto unlock = reinterpret_cast<MutexCall>(dlsym(RTLD_NEXT, "pthread_mutex_unlock"));
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    for (auto _ : state)
    {
        lock(&mutex);
        unlock(&mutex);
    }
}
BENCHMARK(MutexDirect);

void MutexWatchOff(benchmark::State& state)
{
    CallWatch::prepare();
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    for (auto _ : state)
    {
        pthread_mutex_lock(&mutex);
        pthread_mutex_unlock(&mutex);
    }
}
BENCHMARK(MutexWatchOff);

} // namespace

BENCHMARK_MAIN();
