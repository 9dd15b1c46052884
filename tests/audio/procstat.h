// What this process holds right now, from /proc: threads, and virtual and
// resident memory. A thread that ended but was never joined keeps its stack
// mapped, which shows in the virtual size.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

namespace procstat {

inline std::size_t threads()
{
    std::size_t n = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/task"))
        ++n;
    return n;
}

// A "Name:   value kB" line of /proc/self/status, in kB.
inline std::uint64_t status_kb(const std::string& name)
{
    std::ifstream in("/proc/self/status");
    for (std::string key; in >> key;) {
        if (key == name + ":") {
            std::uint64_t kb = 0;
            in >> kb;
            return kb;
        }
        std::getline(in, key);
    }
    return 0;
}

inline std::uint64_t virtual_kb()
{
    return status_kb("VmSize");
}

inline std::uint64_t resident_kb()
{
    return status_kb("VmRSS");
}

} // namespace procstat
