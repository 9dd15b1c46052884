// One headless render from a show to an output: the show runner's frames
// and sounds, the sound track, the frames drawn by the viewer's own frame
// code into an offscreen framebuffer, read back and handed to the output.
#pragma once

#include "firework/firework.h"
#include "firework/look.h"
#include "firework/show.h"

#include <cstddef>
#include <string>
#include <vector>

namespace vexlor {

struct renderoptions_t {
    std::string show;   // built-in show name or scene file
    std::string output; // .mp4, .webm or a directory ending in /
    int width = 1920;
    int height = 1080;
    double fps = 60.0;
    double from = 0.0;
    double to = -1.0; // below from: until the show's last spark has burnt out
    bool trails = false;
    lookchoice_t look;   // over the show file's own look
    int motionblur = 1;  // instants a frame is drawn from
    double shutter = 0.5; // the shutter's interval, a fraction of a frame's time
    bool quiet = false;
    // The chunk-th of `chunks` equal spans of the frames, video only (0 of
    // 0: all of them, with sound).
    int chunk = 0;
    int chunks = 0;
    bool soundonly = false; // the whole span's sound track and no frames
    bool listinputs = false; // print the files the show reads and stop
    std::string argv0; // to find the burst sound as the viewer does
};

// The longest span rendered, and how far a show with no end asked for is
// followed to find its own.
constexpr double k_longestrender = 3600.0;

// Seconds spent in each stage, for the benchmarks and the summary.
struct renderstats_t {
    std::size_t frames = 0;
    double seconds = 0.0;   // wall clock, all of it
    double scan = 0.0;      // the show's timing ahead of drawing, and the sound track
    double evaluate = 0.0;  // the evaluation while drawing
    double draw = 0.0;      // issuing the frame's GL work
    double readback = 0.0;  // starting the read of a frame, mapping the one before
                            // (a software renderer draws when the read forces it)
    double encode = 0.0;    // handing frames to the output, and finishing it
};

// The frames of the chunk-th (from 1) of `chunks` equal spans of a render's
// `frames`.
struct chunkspan_t {
    std::size_t first = 0;
    std::size_t frames = 0;
};
chunkspan_t chunkof(std::size_t frames, int chunk, int chunks);

// Asks a running render to stop (safe in a signal handler).
void stoprender();

// Exit status: 0 done, 1 failed (one line on standard error), 130 stopped.
int render(const renderoptions_t& options, renderstats_t& stats);

// The same for a scene already made (as loaded, before the viewer's lift);
// `options.show` only names it in messages.
int render(const renderoptions_t& options, std::vector<firework_t> scene, renderstats_t& stats);
// The same for a show with shared designs, evaluated as it is (not expanded).
int render(const renderoptions_t& options, show_t show, renderstats_t& stats);

// Called after each frame, for measuring; nothing by default.
using framehook_t = void (*)(std::size_t frame);
void setframehook(framehook_t hook);

} // namespace vexlor
