// A directory of numbered PNG frames (libpng) and "sound.wav".
#pragma once

#include "tools/render/framesink.h"

namespace vexlor {

std::unique_ptr<framesink_t> makepngsink(const std::string& output, const sinkformat_t& format,
                                         std::string& message);

} // namespace vexlor
