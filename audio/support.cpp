// What every decoder shares: the choice of decoder for a format and the
// decode thread's entry.

#include <cstdint>

#include "audio/adpcm.h"
#include "audio/pcmraw.h"
#include "audio/wave.h"
#include "audio/xaudio2.h"

namespace sndkit {

unsigned decoder_t::bits() const
{
    return wave->fc().bits;
}

std::unique_ptr<decoder_t> decoder_dispatch(wave_t* w)
{
    if (w->formattag() == tag_imaadpcm)
        return std::make_unique<adpcm_t>(w);
    return std::make_unique<pcmraw_t>(w);
}

void* support(void* arg)
{
    auto* play = static_cast<xaudio2_t::buffer_t*>(arg);
    decoder_t* decoder = play->owner->decoder.get();
    const bool decoded = decoder && decoder->decoding(play);
    play->ended.store(true, std::memory_order_release);
    return decoded ? nullptr : reinterpret_cast<void*>(std::uintptr_t{1});
}

} // namespace sndkit
