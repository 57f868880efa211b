// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__ARM_NEON) && defined(__aarch64__)
#include <arm_neon.h>
#endif

/// Finds the special characters of XML in blocks of text. The result is a bit mask: bit i is set if unit i is
/// one of the wanted characters. Without suitable processor instructions, and for wide characters, a plain
/// loop does the same.
namespace Kvs::ByteScan {

inline constexpr std::size_t kBlock = 64;

template <char... wanted, class C>
std::uint64_t matchesPlain(const C* units, std::size_t count) {
    std::uint64_t mask = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const bool found = ((units[i] == static_cast<C>(wanted)) || ...);
        mask |= static_cast<std::uint64_t>(found) << i;
    }
    return mask;
}

/// Returns the matches among exactly `kBlock` units.
template <char... wanted, class C>
std::uint64_t matchesBlock(const C* units) {
    return matchesPlain<wanted...>(units, kBlock);
}

#if defined(__SSE2__)

template <char... wanted>
std::uint64_t matches16(const char* bytes) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
    __m128i found = _mm_setzero_si128();
    ((found = _mm_or_si128(found, _mm_cmpeq_epi8(block, _mm_set1_epi8(wanted)))), ...);
    return static_cast<std::uint32_t>(_mm_movemask_epi8(found));
}

template <char... wanted>
std::uint64_t matchesBlock(const char* bytes) {
    return matches16<wanted...>(bytes) | matches16<wanted...>(bytes + 16) << 16 |
           matches16<wanted...>(bytes + 32) << 32 | matches16<wanted...>(bytes + 48) << 48;
}

#elif defined(__ARM_NEON) && defined(__aarch64__)

template <char... wanted>
uint8x16_t matchBits16(const char* bytes) {
    static constexpr std::uint8_t kBits[] = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
    const uint8x16_t block = vld1q_u8(reinterpret_cast<const std::uint8_t*>(bytes));
    uint8x16_t found = vdupq_n_u8(0);
    ((found = vorrq_u8(found, vceqq_u8(block, vdupq_n_u8(static_cast<std::uint8_t>(wanted))))), ...);
    return vandq_u8(found, vld1q_u8(kBits));
}

/// Collects the bits of eight bytes in one byte by pairwise sums.
template <char... wanted>
std::uint64_t matchesBlock(const char* bytes) {
    const uint8x16_t low = vpaddq_u8(matchBits16<wanted...>(bytes), matchBits16<wanted...>(bytes + 16));
    const uint8x16_t high = vpaddq_u8(matchBits16<wanted...>(bytes + 32), matchBits16<wanted...>(bytes + 48));
    const uint8x16_t sums = vpaddq_u8(low, high);
    return vgetq_lane_u64(vreinterpretq_u64_u8(vpaddq_u8(sums, sums)), 0);
}

#endif

/// Returns the matches among the first `count` units, at most `kBlock` of them. Does not read any unit behind
/// them.
template <char... wanted, class C>
std::uint64_t matches(const C* units, std::size_t count) {
    if (count >= kBlock) {
        return matchesBlock<wanted...>(units);
    }
    C tail[kBlock] = {};
    std::memcpy(tail, units, count * sizeof(C));
    return matchesBlock<wanted...>(tail);
}

} // namespace Kvs::ByteScan
