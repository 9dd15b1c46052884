// The sound player behind the wave_t interface.

#include "audio/wavedispatch.h"

#include "audio/xaudio2.h"

namespace sndkit {

std::unique_ptr<wave_t> wave_dispatch(unsigned long long device)
{
    return std::make_unique<xaudio2_t>(device);
}

} // namespace sndkit
