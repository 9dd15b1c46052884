// Where rendered frames and the sound track go, chosen by the output's name:
// ".mp4" (H.264 and AAC) and ".webm" (VP9 and Opus) through the ffmpeg
// program, a name ending in "/" a directory of numbered PNG frames and
// "sound.wav". Everything is written under a temporary name and renamed into
// place only when complete.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vexlor {

enum class outputkind_t { none, mp4, webm, directory };

// Writes the sound track as a WAVE file at the path given. False with one
// line in the message.
using soundwriter_t = std::function<bool(const std::string& path, std::string& message)>;

// The kind the output's name asks for; none for an unknown extension.
outputkind_t outputkind(const std::string& output);

class framesink_t {
public:
    virtual ~framesink_t() = default;

    // Creates the temporary output and has the sound track written into it.
    // False with one line in `message`.
    virtual bool begin(const soundwriter_t& sound, std::string& message) = 0;
    // True when frames come as NV12 (BT.709, limited range, top row
    // first), false for RGBA pixels, bottom row first.
    virtual bool wantsyuv() const = 0;
    // One frame of the size given at making.
    virtual bool frame(const unsigned char* pixels, std::string& message) = 0;
    // Completes the output and renames it into place.
    virtual bool finish(std::string& message) = 0;
    // Removes everything temporary; the output's name is left as it was.
    virtual void abandon() = 0;
};

struct sinkformat_t {
    int width = 0;
    int height = 0;
    double fps = 0.0;
    // A chunk of a render split up: video only (begin() writes no sound),
    // PNG frames numbered from `first` and moved in beside the other
    // chunks' frames.
    bool chunk = false;
    std::size_t first = 0;
};

// The sink for `output`; null with one line in `message` when it cannot be
// made (an unknown extension, no ffmpeg, an unwritable place).
std::unique_ptr<framesink_t> makesink(const std::string& output, const sinkformat_t& format,
                                      std::string& message);

// Frame k's file name inside a directory output: six digits.
std::string framename(std::size_t k);
constexpr std::size_t k_mostframefiles = 999999;
// Whether a file's name is one framename() gives, for any k.
bool isframename(const std::string& name);

// The temporary name that stands beside an output called `name` in `folder`
// while it is written: "." NAME ".partial-PID" SUFFIX, NAME cut short (never
// inside a character) where the whole would be longer than the file system
// takes, so that every output name it takes can be rendered to.
std::string partialname(const std::string& folder, const std::string& name, const std::string& suffix);

// Where an output is written: an output that is a symbolic link is written
// through it, to its target.
std::string writtenpath(const std::string& output);

} // namespace vexlor
