// Millisecond clock for animation timing: a monotonic clock that neither jumps
// with the wall clock nor stops, wrapping like a 32-bit millisecond counter.
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

} // namespace basekit
