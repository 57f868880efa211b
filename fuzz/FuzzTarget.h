#pragma once

#include <cstddef>
#include <cstdint>

/// What every fuzzer defines and libFuzzer, or the replaying main, calls. Returns 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
