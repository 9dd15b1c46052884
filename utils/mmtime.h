// Clocks for animation timing. timeGetTime is the platform's millisecond
// counter, wrapping in 32 bits; monotonicmicros is what the show's clock
// reads: 64-bit microseconds of a monotonic clock, which do not wrap in the
// life of a machine and neither jump with the wall clock nor stop.
#pragma once

#include <chrono>
#include <cstdint>

namespace basekit {

inline std::uint32_t timeGetTime()
{
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now().time_since_epoch());
    return static_cast<std::uint32_t>(ms.count());
}

inline std::int64_t monotonicmicros()
{
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

} // namespace basekit
