// SPDX-License-Identifier: MIT

#include "core/logging/CNSLog.h"
#include "core/logging/FLogBookFile.h"
#include "core/logging/FTransferLog.h"
#include "core/system/FileDescriptor.h"
#include "core/text/FGStr.h"

#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <string>
#include <unistd.h>
#include <utility>

namespace {

/// A new file, which the destructor removes.
class LogFile {
public:
    LogFile() { Kvs::FileDescriptor(mkstemp(path_.data())); }
    ~LogFile() { std::remove(path_.c_str()); }
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;
    const std::string& path() const { return path_; }

private:
    std::string path_ = "kvnbenchXXXXXX"; // in the working directory, which is on a disk and not in memory
};

std::unique_ptr<LogFile> file;
std::shared_ptr<spdlog::logger> logger;

void openBook(const benchmark::State&) {
    file = std::make_unique<LogFile>();
    // Every look at this clock begins a new period, so that no line is left out.
    Kvs::LogLimit limit(
        [now = std::chrono::steady_clock::now()]() mutable { return now += Kvs::LogLimit::kPeriod; });
    Kvs::FTransferLog::useLogBook(
        Kvs::FRef<Kvs::FLogBook>(new Kvs::FLogBookFile(Kvs::fWiden(file->path()), std::move(limit))));
}

void closeBook(const benchmark::State&) {
    Kvs::FTransferLog::useLogBook({});
    file.reset();
}

void openLogger(const benchmark::State&) {
    file = std::make_unique<LogFile>();
    logger = std::make_shared<spdlog::logger>(
        "log", std::make_shared<spdlog::sinks::basic_file_sink_mt>(file->path()));
    logger->set_pattern("%Y-%m-%dT%H:%M:%S.%e Thread[%t]:\t%v", spdlog::pattern_time_type::utc);
    logger->flush_on(spdlog::level::trace);
}

void closeLogger(const benchmark::State&) {
    logger.reset();
    file.reset();
}

void ours(benchmark::State& state) {
    int request = 0;
    for (auto _ : state) {
        Kvs::CNSLog("Sending Message: %s, request %d", "GetStatus", ++request);
    }
}

void spdlogLine(benchmark::State& state) {
    int request = 0;
    for (auto _ : state) {
        logger->info("Sending Message: {}, request {}", "GetStatus", ++request);
    }
}

/// Measures the least cost of a line: the system call alone, with the same number of bytes.
void bareWrite(benchmark::State& state) {
    LogFile written;
    const Kvs::FileDescriptor descriptor(::open(written.path().c_str(), O_WRONLY | O_APPEND));
    const std::string line =
        "2026-03-04T09:15:27.042 Thread[1c03]:\tSending Message: GetStatus, request 100000\n";
    for (auto _ : state) {
        if (::write(descriptor.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
            state.SkipWithError("write failed");
            break;
        }
    }
}

BENCHMARK(ours)->Name("log_line_1/ours")->Setup(openBook)->Teardown(closeBook)->UseRealTime();
BENCHMARK(spdlogLine)->Name("log_line_1/spdlog")->Setup(openLogger)->Teardown(closeLogger)->UseRealTime();
BENCHMARK(bareWrite)->Name("log_line_1/write")->UseRealTime();
BENCHMARK(ours)->Name("log_line_4/ours")->Setup(openBook)->Teardown(closeBook)->Threads(4)->UseRealTime();
BENCHMARK(spdlogLine)
    ->Name("log_line_4/spdlog")
    ->Setup(openLogger)
    ->Teardown(closeLogger)
    ->Threads(4)
    ->UseRealTime();

} // namespace
