// Video files encoded by the ffmpeg program: raw frames on a pipe, the sound
// track from a temporary WAVE file.
#pragma once

#include "tools/render/framesink.h"

namespace vexlor {

// The ffmpeg program on PATH, or empty when there is none.
std::string findffmpeg();

std::unique_ptr<framesink_t> makeffmpegsink(const std::string& output, outputkind_t kind,
                                            const sinkformat_t& format, std::string& message);

} // namespace vexlor
