// Small hand-made scenes and a scratch directory for the firework tests.
#pragma once

#include "firework/firework.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace scenes {

inline geokit::color3a_t rgba(float r, float g, float b, float a) { return {r, g, b, a}; }

inline vexlor::film_t film(float duration, const geokit::color3a_t& from, const geokit::color3a_t& to)
{
    return {duration, from, to};
}

inline vexlor::powder_t powder(float delay, float size, float drag, std::vector<vexlor::film_t> films)
{
    return {delay, size, drag, std::move(films)};
}

// A shell at the origin going straight up at 10 with no drag: it bursts
// after `fuse` seconds at height 10 fuse - 4.9 fuse^2.
inline vexlor::firework_t shell(float fuse, std::vector<vexlor::fire_t> fires = {})
{
    vexlor::firework_t f;
    f.velocity = {0.0f, 0.0f, 10.0f};
    f.fuse = fuse;
    f.size = 9.0f;
    f.drag = 1.0f;
    f.color = rgba(1.0f, 1.0f, 1.0f, 1.0f);
    f.fires = std::move(fires);
    return f;
}

// One shell, one star, one stage, two films, and its file of 22 lines.
inline std::vector<vexlor::firework_t> small()
{
    vexlor::firework_t f{true, false, 1.5f, {1.0f, 2.5f, -3.0f}, {0.0f, 0.0f, 20.0f}, 2.0f, 250.0f, 0.95f,
                         rgba(1.0f, 0.5f, 0.25f, 1.0f), {}};
    f.fires.push_back({{0.0f, 0.6f, 0.8f}, 12.5f,
                       {powder(0.03125f, 12.5f, 0.9f, {film(0.25f, rgba(1, 0.75f, 0.5f, 1), rgba(0, 0, 0, 1)),
                                                       film(1234567.0f, rgba(0, 0, 0, 0), rgba(1, 1, 1, 1))})}});
    return {f};
}
inline const std::vector<std::string> smalllines = {
    "1", "1.5", "pos3(1.000000, 2.500000, -3.000000)", "dir3(0.000000, 0.000000, 20.000000)", "2", "250", "0.95",
    "col3a(1.000000, 0.500000, 0.250000, 1.000000)", "1", "dir3(0.000000, 0.600000, 0.800000)", "12.5", "1",
    "0.03125", "12.5", "0.9", "2", "0.25", "col3a(1.000000, 0.750000, 0.500000, 1.000000)",
    "col3a(0.000000, 0.000000, 0.000000, 1.000000)", "1.23457e+06", "col3a(0.000000, 0.000000, 0.000000, 0.000000)",
    "col3a(1.000000, 1.000000, 1.000000, 1.000000)"};

inline std::string join(const std::vector<std::string>& lines, const std::string& end = "\r\n")
{
    std::string text;
    for (const std::string& line : lines)
        text += line + end;
    return text;
}

} // namespace scenes

// A fresh directory under /tmp for one test, removed with everything in it.
struct tempdir {
    std::string path;
    tempdir()
    {
        char pattern[] = "/tmp/firework-XXXXXX";
        path = mkdtemp(pattern) ? pattern : "/nonexistent";
    }
    ~tempdir() { std::filesystem::remove_all(path); }
    tempdir(const tempdir&) = delete;
    tempdir& operator=(const tempdir&) = delete;
    std::string write(const std::string& name, const std::string& bytes) const
    {
        std::ofstream(path + "/" + name, std::ios::binary) << bytes;
        return path + "/" + name;
    }
    static std::string read(const std::string& file)
    {
        std::ifstream is(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(is), std::istreambuf_iterator<char>()};
    }
};
