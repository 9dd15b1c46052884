// A music track read once from end to end for what the designer's tools
// show of it: its beats (found by aubio) and its waveform (the loudest
// sample of each short stretch). Decoded at the track's own rate, channels
// mixed to one; memory stays bounded but for what is found.
#pragma once

#include "audio/beatgrid.h"
#include "audio/musicstream.h"

#include <functional>
#include <string>
#include <vector>

namespace sndkit {

struct scanwant_t {
    bool beats = false;     // find the beats
    double stretch = 0.0;   // seconds of each waveform value; 0: no waveform
};

struct trackscan_t {
    musicinfo_t info;
    beats_t beats;            // with want.beats
    std::vector<float> peaks; // the loudest |sample| of each stretch, from the first sample
    double stretch = 0.0;
};

// Reads `path` for what `want` asks. False with the reason (without the path)
// in `message`: a track that cannot be read, or with want.beats one in which
// no steady beat is found; also when `keepgoing` (asked every block) says
// to stop.
bool scantrack(const char* path, const scanwant_t& want, trackscan_t& scan, std::string& message,
               const std::function<bool()>& keepgoing = {});

// What a show file's reader asks of its music (vexlor::trackreader_t): the
// track's length from its header, and with `detect` its tempo and beats.
bool readtrack(const std::string& path, bool detect, double& seconds, double& bpm, std::vector<double>& beats,
               std::string& why);

} // namespace sndkit
