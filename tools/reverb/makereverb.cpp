// makereverb: writes the show's sounds: the burst, "reverb.wav" (a low thump
// and a burst of noise carried into a decaying reverberant tail), the deeper
// breaks of larger shells and the crackle of crackling stars. Everything
// comes from fixed seeds, so every build writes the same bytes.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int rate = 44100;
constexpr double pi = 3.14159265358979323846;

// One sound's recipe. A larger shell's break booms lower and longer, and its
// echo off the surroundings lasts longer too.
struct recipe_t {
    const char* name;
    double seconds;
    double thumpfrom; // the thump's glide, Hz
    double thumpto;
    double thumpdecay; // seconds
    double rumbledecay;
    double rt60;
    bool crackle; // many tiny reports instead of one break
};

const recipe_t recipes[] = {
    {"burst", 1.6, 60, 38, 0.16, 0.3, 1.3, false},
    {"deepburst", 2.2, 48, 29, 0.24, 0.45, 1.8, false},
    {"deeperburst", 2.8, 40, 23, 0.32, 0.6, 2.3, false},
    {"crackle", 1.6, 0, 0, 0, 0, 0.9, true},
};

// White noise in [-1, 1) from the standard engine, whose output sequence is
// fixed by the language; the distributions are not, so none is used.
class noise_t {
public:
    explicit noise_t(std::uint32_t seed) : m_engine(seed) {}
    double next() { return m_engine() / 2147483648.0 - 1.0; }

private:
    std::mt19937 m_engine;
};

// One-pole low-pass.
class lowpass_t {
public:
    explicit lowpass_t(double cutoff) : m_a(1.0 - std::exp(-2 * pi * cutoff / rate)) {}
    double next(double x) { return m_y += m_a * (x - m_y); }

private:
    double m_a;
    double m_y = 0;
};

// Feedback comb with damping in its loop, tuned so the tail falls by 60 dB
// in `rt60` seconds.
class comb_t {
public:
    comb_t(std::size_t delay, double rt60, double damp)
        : m_line(delay, 0.0), m_feedback(std::pow(10.0, -3.0 * delay / (rt60 * rate))), m_damp(damp)
    {
    }
    double next(double x)
    {
        const double out = m_line[m_at];
        m_store = out * (1 - m_damp) + m_store * m_damp;
        m_line[m_at] = x + m_store * m_feedback;
        m_at = (m_at + 1) % m_line.size();
        return out;
    }

private:
    std::vector<double> m_line;
    std::size_t m_at = 0;
    double m_feedback;
    double m_damp;
    double m_store = 0;
};

class allpass_t {
public:
    explicit allpass_t(std::size_t delay) : m_line(delay, 0.0) {}
    double next(double x)
    {
        const double delayed = m_line[m_at];
        const double out = delayed - 0.5 * x;
        m_line[m_at] = x + 0.5 * delayed;
        m_at = (m_at + 1) % m_line.size();
        return out;
    }

private:
    std::vector<double> m_line;
    std::size_t m_at = 0;
};

// The dry burst: a thump gliding from 60 Hz down to 38 Hz, a short crack of
// bright noise and a slower rumble of dark noise.
std::vector<double> burst(std::size_t n, const recipe_t& recipe)
{
    std::vector<double> out(n);
    noise_t crack(20240607), rumble(19700101);
    lowpass_t bright(3000), dark(250), darker(250);
    double phase = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const double t = double(i) / rate;
        const double attack = 1 - std::exp(-t / 0.002);
        phase += 2 * pi * (recipe.thumpto + (recipe.thumpfrom - recipe.thumpto) * std::exp(-t / 0.08)) / rate;
        const double thump = std::sin(phase) * attack * std::exp(-t / recipe.thumpdecay);
        const double snap = bright.next(crack.next()) * attack * std::exp(-t / 0.045);
        const double roll = darker.next(dark.next(rumble.next())) * attack * std::exp(-t / recipe.rumbledecay);
        out[i] = 0.9 * thump + 0.8 * snap + 6.0 * roll;
    }
    return out;
}

// Crackling stars: a few hundred sharp reports, each a millisecond of bright
// noise, thick at first and thinning out over a second.
std::vector<double> crackle(std::size_t n)
{
    std::vector<double> out(n, 0.0);
    noise_t when(19991231), noise(20011111);
    lowpass_t body(6000);
    constexpr int reports = 320;
    constexpr double spread = 1.1; // seconds
    for (int k = 0; k < reports; ++k) {
        // Squared, so the reports crowd near the start.
        const double u = 0.5 * (when.next() + 1.0);
        const double at = spread * u * u;
        const double loud = 0.4 + 0.3 * (when.next() + 1.0);
        const auto start = std::size_t(at * rate);
        const std::size_t length = std::size_t(0.0015 * rate);
        for (std::size_t i = 0; i < length && start + i < n; ++i)
            out[start + i] += loud * noise.next() * std::exp(-double(i) / (0.0004 * rate));
    }
    for (double& sample : out)
        sample = body.next(sample);
    return out;
}

// Four damped combs in parallel, then two all-passes in series.
std::vector<double> reverberate(const std::vector<double>& dry, double rt60)
{
    std::array<comb_t, 4> combs{comb_t(1557, rt60, 0.3), comb_t(1617, rt60, 0.3), comb_t(1491, rt60, 0.3),
                                comb_t(1422, rt60, 0.3)};
    allpass_t first(556), second(441);
    std::vector<double> out(dry.size());
    for (std::size_t i = 0; i < dry.size(); ++i) {
        double wet = 0;
        for (comb_t& c : combs)
            wet += c.next(dry[i]);
        out[i] = dry[i] + 0.3 * second.next(first.next(wet));
    }
    return out;
}

void put16(std::ofstream& f, std::uint16_t v)
{
    const char b[2] = {char(v & 0xff), char(v >> 8)};
    f.write(b, 2);
}

void put32(std::ofstream& f, std::uint32_t v)
{
    put16(f, std::uint16_t(v & 0xffff));
    put16(f, std::uint16_t(v >> 16));
}

// 16-bit PCM, mono.
bool write(const char* path, const std::vector<std::int16_t>& samples)
{
    std::ofstream f(path, std::ios::binary);
    const std::uint32_t bytes = std::uint32_t(samples.size() * 2);
    f.write("RIFF", 4);
    put32(f, 4 + 24 + 8 + bytes);
    f.write("WAVE", 4);
    f.write("fmt ", 4);
    put32(f, 16);
    put16(f, 1);
    put16(f, 1);
    put32(f, rate);
    put32(f, rate * 2);
    put16(f, 2);
    put16(f, 16);
    f.write("data", 4);
    put32(f, bytes);
    for (std::int16_t s : samples)
        put16(f, std::uint16_t(s));
    f.close();
    return !f.fail();
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2 && argc != 3) {
        std::cerr << "usage: makereverb OUTPUT.wav [burst|deepburst|deeperburst|crackle]" << std::endl;
        return 2;
    }
    const recipe_t* recipe = &recipes[0];
    if (argc == 3) {
        recipe = nullptr;
        for (const recipe_t& r : recipes)
            if (std::string(argv[2]) == r.name)
                recipe = &r;
        if (recipe == nullptr) {
            std::cerr << "makereverb: unknown sound \"" << argv[2] << "\"" << std::endl;
            return 2;
        }
    }
    const std::size_t n = std::size_t(recipe->seconds * rate);
    std::vector<double> sound = reverberate(recipe->crackle ? crackle(n) : burst(n, *recipe), recipe->rt60);

    // Peak at -1 dBFS, then a raised-cosine fade over the last 150 ms so the
    // tail ends in silence rather than a click.
    double peak = 0;
    for (double s : sound)
        peak = std::max(peak, std::abs(s));
    const double gain = 0.891 / peak;
    const std::size_t fade = std::size_t(0.15 * rate);
    std::vector<std::int16_t> samples(n);
    for (std::size_t i = 0; i < n; ++i) {
        double s = sound[i] * gain;
        if (i + fade >= n)
            s *= 0.5 - 0.5 * std::cos(pi * double(n - 1 - i) / double(fade));
        samples[i] = std::int16_t(std::lround(s * 32767));
    }
    if (!write(argv[1], samples)) {
        std::cerr << argv[1] << ": cannot write the sound." << std::endl;
        return 1;
    }
    return 0;
}
