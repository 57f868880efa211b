// SPDX-License-Identifier: MIT

#include "core/logging/CNSLog.h"
#include "core/logging/FLogBookFile.h"
#include "core/logging/FTransferLog.h"
#include "core/system/FileDescriptor.h"
#include "core/text/FGStr.h"

#include <benchmark/benchmark.h>
#include <spdlog/fmt/ranges.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>
#include <vector>

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

/// Calls `log` with a number that grows.
template <class Log>
void lines(benchmark::State& state, Log log) {
    int request = 0;
    for (auto _ : state) {
        log(++request);
    }
}

// The usual line: two texts or numbers.

void oursText(benchmark::State& state) {
    lines(state, [](int request) { Kvs::CNSLog("Sending Message: %s, request %d", "GetStatus", request); });
}
void oursChecked(benchmark::State& state) {
    lines(state, [](int request) { Kvs::OCNSLog("Sending Message: %@, request %d", "GetStatus", request); });
}
void spdlogText(benchmark::State& state) {
    lines(state, [](int request) { logger->info("Sending Message: {}, request {}", "GetStatus", request); });
}

// A line with a list, as at the launch of a client.

const std::vector<std::string> kArguments = {"-connect", "remote.example.org:3128", "-session", "100008"};

void oursList(benchmark::State& state) {
    lines(state, [](int process) { Kvs::OCNSLog("Started: procId: %d, args: %@", process, kArguments); });
}
void spdlogList(benchmark::State& state) {
    lines(state, [](int process) {
        logger->info("Started: procId: {}, args: ({})", process, fmt::join(kArguments, ", "));
    });
}

void oursNumber(benchmark::State& state) {
    lines(state, [](int tenths) { Kvs::CNSLog("Launching client in %.1f seconds", tenths / 10.0); });
}
void spdlogNumber(benchmark::State& state) {
    lines(state, [](int tenths) { logger->info("Launching client in {:.1f} seconds", tenths / 10.0); });
}

/// Measures the least cost of a line: the system call alone, with the same number of bytes, into one file for
/// all threads.
void bareWrite(benchmark::State& state) {
    const Kvs::FileDescriptor descriptor(::open(file->path().c_str(), O_WRONLY | O_APPEND));
    const std::string_view line =
        "2026-03-04T09:15:27.042 Thread[1c03]:\tSending Message: GetStatus, request 100000\n";
    for (auto _ : state) {
        if (::write(descriptor.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
            state.SkipWithError("write failed");
            break;
        }
    }
}

void openFile(const benchmark::State&) { file = std::make_unique<LogFile>(); }

[[maybe_unused]] const bool registered = [] {
    using benchmark::RegisterBenchmark;
    const auto add = [](const char* name, void (*run)(benchmark::State&), auto* setup, auto* teardown,
                        int threads) {
        RegisterBenchmark(name, run)->Setup(setup)->Teardown(teardown)->Threads(threads)->UseRealTime();
    };
    const auto ours = [&](const char* name, void (*run)(benchmark::State&), int threads) {
        add(name, run, openBook, closeBook, threads);
    };
    const auto spdlog = [&](const char* name, void (*run)(benchmark::State&), int threads) {
        add(name, run, openLogger, closeLogger, threads);
    };
    ours("log_line_1/ours", oursText, 1);
    ours("log_line_1/ours_checked", oursChecked, 1);
    spdlog("log_line_1/spdlog", spdlogText, 1);
    add("log_line_1/write", bareWrite, openFile, closeBook, 1);
    ours("log_line_4/ours", oursText, 4);
    ours("log_line_4/ours_checked", oursChecked, 4);
    spdlog("log_line_4/spdlog", spdlogText, 4);
    add("log_line_4/write", bareWrite, openFile, closeBook, 4);
    ours("log_list/ours", oursList, 1);
    spdlog("log_list/spdlog", spdlogList, 1);
    ours("log_number/ours", oursNumber, 1);
    spdlog("log_number/spdlog", spdlogNumber, 1);
    return true;
}();

} // namespace
