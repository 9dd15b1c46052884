// pcmraw_t: the pass-through decoder for PCM and IEEE float data. It sends
// the file image's own sample bytes, whole blocks only, without copying.
#pragma once

#include "audio/decoder.h"

namespace sndkit {

class pcmraw_t : public decoder_t {
public:
    using decoder_t::decoder_t;
    bool decoding(send_t* sink) override;
};

} // namespace sndkit
