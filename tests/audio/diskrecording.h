// The engine's output as SDL's disk driver writes it: stereo 32-bit float
// frames appended to one file for the whole process. Tests that play through
// the real engine measure from where the recording stood when they began.
#pragma once

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

namespace diskrecording {

inline std::string g_path;

// Points the disk driver at `file`; call before the engine starts.
inline void start(const std::string& file)
{
    g_path = file;
    setenv("SDL_AUDIODRIVER", "disk", 1);
    setenv("SDL_DISKAUDIOFILE", g_path.c_str(), 1);
}

inline std::uint64_t frames()
{
    return std::filesystem::exists(g_path) ? std::filesystem::file_size(g_path) / 8 : 0;
}

// Waits until the recording holds `count` frames (30 s at most).
inline bool reach(std::uint64_t count)
{
    for (int i = 0; i < 3000 && frames() < count; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return frames() >= count;
}

} // namespace diskrecording
