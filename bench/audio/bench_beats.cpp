// Beat detection on a five-minute track at 44.1 kHz stereo, as Ogg Vorbis
// (decoding included, as a show's music is read) and as float WAV (the
// analysis alone), and the waveform the timeline draws. The track is made
// here: a drum on every beat at 126 a minute, off-beat clicks and a chord.
#include "audio/trackscan.h"

#include <benchmark/benchmark.h>
#include <sndfile.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr double k_pi = 3.14159265358979323846;
constexpr int k_rate = 44100;
constexpr double k_seconds = 300.0;
constexpr double k_bpm = 126.0;

std::string maketrack(int format, const char* extension)
{
    const std::string path = "/tmp/vexlor-bench-beats-" + std::to_string(getpid()) + extension;
    SF_INFO info{};
    info.samplerate = k_rate;
    info.channels = 2;
    info.format = format;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    if (file == nullptr) return {};
    const double period = 60.0 / k_bpm;
    std::vector<float> block(2 * 4096);
    const auto frames = static_cast<std::size_t>(k_seconds * k_rate);
    for (std::size_t start = 0; start < frames; start += 4096) {
        const std::size_t n = std::min<std::size_t>(4096, frames - start);
        for (std::size_t i = 0; i < n; ++i) {
            const double s = static_cast<double>(start + i) / k_rate;
            const double beat = std::fmod(s, period), off = std::fmod(s + period / 2, period);
            double v = 0.05 * (std::sin(2 * k_pi * 220 * s) + std::sin(2 * k_pi * 330 * s));
            if (beat < 0.15) v += 0.7 * std::exp(-beat * 25) * std::sin(2 * k_pi * (55 + 80 * std::exp(-beat * 40)) * beat);
            if (off < 0.03) v += 0.2 * std::exp(-off * 150) * std::sin(2 * k_pi * 3000 * off);
            block[2 * i] = block[2 * i + 1] = static_cast<float>(v);
        }
        sf_writef_float(file, block.data(), static_cast<sf_count_t>(n));
    }
    sf_close(file);
    return path;
}

void scan(benchmark::State& state, int format, const char* extension, bool beats)
{
    const std::string path = maketrack(format, extension);
    if (path.empty()) {
        state.SkipWithError("cannot write the track");
        return;
    }
    sndkit::scanwant_t want;
    want.beats = beats;
    want.stretch = beats ? 0.0 : 0.01;
    std::size_t found = 0;
    double bpm = 0.0;
    for (auto _ : state) {
        sndkit::trackscan_t result;
        std::string message;
        if (!sndkit::scantrack(path.c_str(), want, result, message)) {
            state.SkipWithError(message.c_str());
            break;
        }
        found = beats ? result.beats.times.size() : result.peaks.size();
        bpm = result.beats.bpm;
    }
    state.counters["found"] = static_cast<double>(found);
    if (beats) state.counters["bpm"] = bpm;
    std::remove(path.c_str());
}

void BM_BeatsOfFiveMinutesOgg(benchmark::State& state)
{
    scan(state, SF_FORMAT_OGG | SF_FORMAT_VORBIS, ".ogg", true);
}
void BM_BeatsOfFiveMinutesWav(benchmark::State& state)
{
    scan(state, SF_FORMAT_WAV | SF_FORMAT_FLOAT, ".wav", true);
}
void BM_WaveformOfFiveMinutesOgg(benchmark::State& state)
{
    scan(state, SF_FORMAT_OGG | SF_FORMAT_VORBIS, ".ogg", false);
}

BENCHMARK(BM_BeatsOfFiveMinutesOgg)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_BeatsOfFiveMinutesWav)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BM_WaveformOfFiveMinutesOgg)->Unit(benchmark::kMillisecond)->Iterations(3);

} // namespace

BENCHMARK_MAIN();
