// SPDX-License-Identifier: MIT

#include "core/system/ReadFile.h"
#include "host/executable/EmbeddedInfoList.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

namespace {

constexpr std::string_view kEnd = "</plist>";
constexpr std::size_t kFileLimit = std::size_t{64} << 20;
constexpr std::uint64_t kMostBytes = 16 << 10;

/// Returns the number of bytes that this process has read so far; nullopt on a system that does not count
/// them.
std::optional<std::uint64_t> bytesRead() {
    std::ifstream io("/proc/self/io");
    std::string name;
    std::uint64_t count = 0;
    return io >> name >> count && name == "rchar:" ? std::optional(count) : std::nullopt;
}

bool hasList(const std::variant<std::string, kvn::host::Error>& list) {
    const auto* bytes = std::get_if<std::string>(&list);
    return bytes && bytes->find(kEnd) != bytes->npos;
}

void ours(benchmark::State& state) {
    // Includes the bytes that reading the counter takes, so the result is at most too large.
    const auto before = bytesRead();
    const bool right = hasList(kvn::host::readEmbeddedInfoList(EXECUTABLE));
    const auto after = bytesRead();
    if (!right || std::filesystem::file_size(EXECUTABLE) < 20 << 20) {
        return state.SkipWithError("no list in a file of 20 MB");
    }
    if (before && after) {
        state.counters["bytes_read"] = static_cast<double>(*after - *before);
        if (*after - *before > kMostBytes) {
            return state.SkipWithError("too much of the file is read");
        }
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(kvn::host::readEmbeddedInfoList(EXECUTABLE));
    }
}

/// Reads the whole file into memory and searches it.
void whole(benchmark::State& state) {
    for (auto _ : state) {
        const auto bytes = Kvs::fReadFile(EXECUTABLE, kFileLimit);
        if (!bytes || bytes->find(kEnd) == bytes->npos) {
            return state.SkipWithError("no list");
        }
    }
}

BENCHMARK(ours)->Name("info_list/ours")->UseRealTime();
BENCHMARK(whole)->Name("info_list/whole")->UseRealTime();

} // namespace
