// adpcm_t: the IMA/DVI ADPCM decoder. Each block is one channel: a 4-byte
// header (first sample, step index) and then two 4-bit codes per byte, low
// nibble first, expanded to signed 16-bit samples.
#pragma once

#include <cstdint>

#include "audio/decoder.h"

namespace sndkit {

// The IMA ADPCM step sizes, index 0 to 88.
extern const std::uint16_t step_idx[89];

class adpcm_t : public decoder_t {
public:
    using decoder_t::decoder_t;
    unsigned bits() const override { return 16; }
    bool decoding(send_t* sink) override;
};

// Decodes one 4-bit code, updating predictor and step index in place. The
// difference is summed in 16 bits and read back as signed, so large steps
// wrap negative; only the bound in the direction of the step is applied.
void SubDecd(std::int16_t& predictor, std::uint8_t& index, std::uint8_t code);

} // namespace sndkit
