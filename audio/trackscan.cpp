// One pass over a track: libsndfile decodes blocks, the channels are mixed,
// aubio's tempo tracker and onset detector take every hop and the waveform
// keeps each stretch's peak.
#include "audio/trackscan.h"

#include <aubio/aubio.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <mutex>

namespace sndkit {
namespace {

// Frames decoded at once.
constexpr std::size_t k_block = 4096;
// aubio's analysis at 44.1 kHz: the tracker's window and hop (its own
// defaults) and the onsets': a window of 23 ms sees a bass drum's thump, a
// hop of under 6 ms places an onset within a few milliseconds. Other rates
// scale them.
constexpr double k_referencerate = 44100.0;
constexpr unsigned k_tempowindow = 1024;
constexpr unsigned k_tempohop = 512;
constexpr unsigned k_onsetwindow = 1024;
constexpr unsigned k_onsethop = 256;

// Beats are found at no more than this rate: a hop of 128 samples is still
// under 6 ms, and the analysis costs half as much as at 44.1 kHz.
constexpr int k_analysisrate = 24000;

// The power of two nearest to `size` scaled from 44.1 kHz to `rate`.
unsigned scaled(unsigned size, int rate)
{
    const double want = size * rate / k_referencerate;
    unsigned p = 16;
    while (p * 2 <= want * 1.5)
        p *= 2;
    return p;
}

// aubio writes its complaints to standard error; our lines say what went wrong.
void quietaubio()
{
    static std::once_flag once;
    std::call_once(once, [] { aubio_log_set_function([](sint_t, const char_t*, void*) {}, nullptr); });
}

struct aubio_t {
    aubio_tempo_t* tempo = nullptr;
    aubio_onset_t* onset = nullptr;
    fvec_t* tempohop = nullptr;
    fvec_t* onsethop = nullptr;
    fvec_t* out = nullptr;
    ~aubio_t()
    {
        if (tempo) del_aubio_tempo(tempo);
        if (onset) del_aubio_onset(onset);
        if (tempohop) del_fvec(tempohop);
        if (onsethop) del_fvec(onsethop);
        if (out) del_fvec(out);
    }
};

} // namespace

bool scantrack(const char* path, const scanwant_t& want, trackscan_t& scan, std::string& message,
               const std::function<bool()>& keepgoing)
{
    scan = {};
    SNDFILE* file = opentrack(path, scan.info, message);
    if (file == nullptr)
        return false;
    const std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> closer(file, sf_close);
    const int rate = scan.info.rate;
    const auto channels = static_cast<std::size_t>(scan.info.channels);

    aubio_t aubio;
    std::vector<onset_t> onsets;
    // Frames averaged into one for the analysis: a plain low-pass, enough
    // for the energy of drums.
    std::size_t decimate = 1;
    while (rate / static_cast<int>(decimate * 2) >= k_analysisrate / 2 && rate / static_cast<int>(decimate) > k_analysisrate)
        decimate *= 2;
    const int analysisrate = rate / static_cast<int>(decimate);
    if (want.beats) {
        quietaubio();
        const unsigned tempohop = scaled(k_tempohop, analysisrate), onsethop = scaled(k_onsethop, analysisrate);
        aubio.tempo = new_aubio_tempo("default", scaled(k_tempowindow, analysisrate), tempohop,
                                      static_cast<uint_t>(analysisrate));
        aubio.onset = new_aubio_onset("energy", scaled(k_onsetwindow, analysisrate), onsethop,
                                      static_cast<uint_t>(analysisrate));
        aubio.tempohop = new_fvec(tempohop);
        aubio.onsethop = new_fvec(onsethop);
        aubio.out = new_fvec(2);
        if (!aubio.tempo || !aubio.onset || !aubio.tempohop || !aubio.onsethop || !aubio.out) {
            message = "the beat detector cannot analyse it";
            return false;
        }
    }
    std::size_t stretch = 0;
    if (want.stretch > 0.0) {
        stretch = std::max<std::size_t>(1, static_cast<std::size_t>(std::lround(want.stretch * rate)));
        scan.stretch = static_cast<double>(stretch) / rate;
        scan.peaks.reserve(static_cast<std::size_t>(scan.info.frames) / stretch + 1);
    }

    std::vector<float> block(k_block * channels);
    std::size_t tempofill = 0, onsetfill = 0, stretchfill = 0, decimatefill = 0;
    float peak = 0.0f, sum = 0.0f;
    for (;;) {
        if (keepgoing && !keepgoing()) {
            message = "the read was cancelled";
            return false;
        }
        const sf_count_t got = sf_readf_float(file, block.data(), static_cast<sf_count_t>(k_block));
        if (got <= 0)
            break;
        for (sf_count_t i = 0; i < got; ++i) {
            const float* frame = block.data() + static_cast<std::size_t>(i) * channels;
            float sample = 0.0f;
            for (std::size_t c = 0; c < channels; ++c)
                sample += frame[c];
            sample /= static_cast<float>(channels);
            if (stretch != 0) {
                peak = std::max(peak, std::fabs(sample));
                if (++stretchfill == stretch) {
                    scan.peaks.push_back(peak);
                    peak = 0.0f;
                    stretchfill = 0;
                }
            }
            if (!want.beats)
                continue;
            sum += sample;
            if (++decimatefill < decimate)
                continue;
            sample = sum / static_cast<float>(decimate);
            sum = 0.0f;
            decimatefill = 0;
            aubio.tempohop->data[tempofill++] = sample;
            if (tempofill == aubio.tempohop->length) {
                aubio_tempo_do(aubio.tempo, aubio.tempohop, aubio.out);
                tempofill = 0;
            }
            aubio.onsethop->data[onsetfill++] = sample;
            if (onsetfill == aubio.onsethop->length) {
                aubio_onset_do(aubio.onset, aubio.onsethop, aubio.out);
                if (aubio.out->data[0] != 0.0f)
                    onsets.push_back({aubio_onset_get_last_s(aubio.onset), aubio_onset_get_descriptor(aubio.onset)});
                onsetfill = 0;
            }
        }
    }
    if (stretchfill != 0)
        scan.peaks.push_back(peak);
    if (want.beats && !fitbeats(onsets, aubio_tempo_get_bpm(aubio.tempo), scan.info.seconds(), scan.beats)) {
        message = "no steady beat found in it";
        return false;
    }
    return true;
}

bool readtrack(const std::string& path, bool detect, double& seconds, double& bpm, std::vector<double>& beats,
               std::string& why)
{
    if (!detect) {
        musicinfo_t info;
        if (!probemusic(path.c_str(), info, why))
            return false;
        seconds = info.seconds();
        return true;
    }
    trackscan_t scan;
    scanwant_t want;
    want.beats = true;
    if (!scantrack(path.c_str(), want, scan, why))
        return false;
    seconds = scan.info.seconds();
    bpm = scan.beats.bpm;
    beats = std::move(scan.beats.times);
    return true;
}

} // namespace sndkit
