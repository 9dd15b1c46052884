// wave_dispatch: makes the sound player the viewer holds as a wave_t.
#pragma once

#include <memory>

#include "audio/wave.h"

namespace sndkit {

// A player on `device` (0: the system's default device). Never null.
std::unique_ptr<wave_t> wave_dispatch(unsigned long long device);

} // namespace sndkit
