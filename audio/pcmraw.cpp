// PCM pass-through. Pacing is the sink's: from its second send on it waits
// for a buffer end, so a looping clip keeps at most two submissions queued.

#include "audio/pcmraw.h"

#include <iostream>

#include "audio/wave.h"

namespace sndkit {

bool pcmraw_t::decoding(send_t* sink)
{
    const std::uint64_t blk_size = wave->fc().blk_size;
    // No whole block to send.
    if (blk_size == 0)
        return true;
    for (;;) {
        // Said on every pass of a loop, deliberately.
        std::uint64_t bytes = wave->databytes();
        const std::uint64_t remain = bytes % blk_size;
        if (remain != 0) {
            std::cerr << "remain % fc()->blk_size: " << remain << std::endl;
            bytes -= remain;
        }
        if (wave->stopped)
            return true;
        if (!sink->send(wave->image.begin() + wave->pos, bytes))
            return false;
        if (!wave->loop)
            return true;
    }
}

} // namespace sndkit
