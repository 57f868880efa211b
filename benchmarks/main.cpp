// SPDX-License-Identifier: MIT

#include <benchmark/benchmark.h>

#include <condition_variable>
#include <mutex>
#include <thread>

/// Runs the benchmarks while a second thread idles, so that no library takes the short cuts that it
/// has for single-threaded processes.
int main(int argc, char** argv) {
    std::mutex mutex;
    std::condition_variable changed;
    bool finished = false;
    std::thread idle([&] {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return finished; });
    });

    benchmark::Initialize(&argc, argv);
    const bool understood = !benchmark::ReportUnrecognizedArguments(argc, argv);
    if (understood) {
        benchmark::RunSpecifiedBenchmarks();
    }

    {
        const std::lock_guard<std::mutex> lock(mutex);
        finished = true;
    }
    changed.notify_one();
    idle.join();
    return understood ? 0 : 1;
}
