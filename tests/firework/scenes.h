// Small hand-made scenes and a scratch directory for the firework tests.
#pragma once

#include "firework/firework.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace scenes {

inline bool same(const geokit::color3a_t& a, const geokit::color3a_t& b)
{ return a.r == b.r && a.g == b.g && a.b == b.b && a.a == b.a; }

// Bit for bit (so -0 is not 0), flags included.
template <typename T> bool bits(const T& a, const T& b) { return std::memcmp(&a, &b, sizeof(T)) == 0; }

inline bool identical(const std::vector<vexlor::firework_t>& a, const std::vector<vexlor::firework_t>& b)
{
    const auto films = [](const vexlor::powder_t& p, const vexlor::powder_t& q) {
        return std::equal(p.films.begin(), p.films.end(), q.films.begin(), q.films.end(),
                          [](const vexlor::film_t& f, const vexlor::film_t& g) {
                              return bits(f.duration, g.duration) && bits(f.from, g.from) && bits(f.to, g.to);
                          });
    };
    const auto powders = [&](const vexlor::fire_t& f, const vexlor::fire_t& g) {
        return std::equal(f.powders.begin(), f.powders.end(), g.powders.begin(), g.powders.end(),
                          [&](const vexlor::powder_t& p, const vexlor::powder_t& q) {
                              return bits(p.delay, q.delay) && bits(p.size, q.size) && bits(p.drag, q.drag)
                                  && films(p, q);
                          });
    };
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&](const vexlor::firework_t& f, const vexlor::firework_t& g) {
        return f.launched == g.launched && f.exploded == g.exploded && bits(f.time, g.time)
            && bits(f.position, g.position) && bits(f.velocity, g.velocity) && bits(f.fuse, g.fuse)
            && bits(f.size, g.size) && bits(f.drag, g.drag) && bits(f.color, g.color)
            && std::equal(f.fires.begin(), f.fires.end(), g.fires.begin(), g.fires.end(),
                          [&](const vexlor::fire_t& x, const vexlor::fire_t& y) {
                              return bits(x.direction, y.direction) && bits(x.speed, y.speed) && powders(x, y);
                          });
    });
}

// A shell at the origin going straight up at 10 with no drag: it bursts
// after `fuse` seconds at height 10 fuse - 4.9 fuse^2.
inline vexlor::firework_t shell(float fuse, std::vector<vexlor::fire_t> fires = {})
{
    return {false, false, 0.0f, {0, 0, 0}, {0, 0, 10}, fuse, 9.0f, 1.0f, {1, 1, 1, 1}, std::move(fires)};
}

// One shell, one star, one stage, two films, and its file of 22 lines.
inline std::vector<vexlor::firework_t> small()
{
    return {{true, false, 1.5f, {1.0f, 2.5f, -3.0f}, {0.0f, 0.0f, 20.0f}, 2.0f, 250.0f, 0.95f, {1.0f, 0.5f, 0.25f, 1.0f},
             {{{0.0f, 0.6f, 0.8f}, 12.5f, {{0.03125f, 12.5f, 0.9f, {{0.25f, {1, 0.75f, 0.5f, 1}, {0, 0, 0, 1}},
                                                                {1234567.0f, {0, 0, 0, 0}, {1, 1, 1, 1}}}}}}}}};
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
    for (const std::string& line : lines) text += line + end;
    return text;
}

} // namespace scenes

// A fresh directory under /tmp for one test, removed with everything in it.
struct tempdir {
    char pattern[24] = "/tmp/firework-XXXXXX";
    const std::string path = mkdtemp(pattern) ? pattern : "/nonexistent";
    ~tempdir() { std::filesystem::remove_all(path); }
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
