// Fuzz target: the WAVE reader and the sample decoders on arbitrary bytes.
// Invariant: a load either refuses with exactly one line on standard error,
// or succeeds silently with the whole data chunk inside the file, a length
// the file's bytes can account for, and a decoder that reads and sends only
// bytes of that chunk (at most two 16-bit samples per IMA ADPCM byte).

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "audio/adpcm.h"
#include "audio/wave.h"

namespace {

struct plainwave : sndkit::wave_t {
    bool load(const char* path) override { return wave_t::load(path); }
};

// Takes one play's bytes, touching every one of them so that the address
// sanitizer sees a send that reaches past its block, and stops the play
// after it so that no decoder paces itself.
struct sink_t : sndkit::send_t {
    explicit sink_t(sndkit::wave_t& w) : wave(w) {}
    sndkit::wave_t& wave;
    const unsigned char* data = nullptr;
    unsigned long long bytes = 0;
    unsigned sends = 0;
    unsigned sum = 0;
    bool send(const void* p, unsigned long long n) override
    {
        data = static_cast<const unsigned char*>(p);
        bytes = n;
        ++sends;
        for (unsigned long long i = 0; i < n; ++i)
            sum += data[i];
        wave.stopped = true;
        return true;
    }
    void keep(std::shared_ptr<const void>) override {}
};

void require(bool holds, const char* what)
{
    if (holds) return;
    std::fprintf(stderr, "invariant broken: %s\n", what);
    std::abort();
}

// The input as a file without touching the disk.
std::string memfile(const std::uint8_t* data, std::size_t size)
{
    static const int fd = memfd_create("wave", 0);
    require(fd >= 0, "memfd_create");
    require(ftruncate(fd, 0) == 0 && pwrite(fd, data, size, 0) == static_cast<ssize_t>(size),
            "memfd write");
    return "/proc/self/fd/" + std::to_string(fd);
}

std::ostringstream& errors()
{
    static std::ostringstream text;
    static const bool redirected = (std::cerr.rdbuf(text.rdbuf()), true);
    (void)redirected;
    return text;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::ostringstream& err = errors();
    err.str("");
    std::cerr.clear();

    plainwave w;
    const std::string path = memfile(data, size);
    const bool loaded = w.load(path.c_str());
    const std::string said = err.str();
    if (!loaded) {
        require(!said.empty() && said.find('\n') == said.size() - 1, "a refusal is one line");
        return 0;
    }
    require(said.empty(), "a load says nothing");

    const std::uint64_t image = w.image.size();
    const std::uint64_t header = static_cast<std::uint64_t>(w.data - w.image.begin());
    require(w.pos == header + 8 && w.pos <= image, "samples follow the data header");
    const std::uint64_t chunk = w.datasize();
    require(chunk <= image - w.pos, "the data chunk lies inside the file");
    // Fewer than 1000 samples a second, whatever their size, never pass.
    require(w.msec() <= 8 * chunk, "the length is what the bytes can hold");
    require(w.decoder != nullptr, "a decoder");

    sink_t sink(w);
    w.play(false);
    require(w.decoder->decoding(&sink), "decoding ends normally");
    require(sink.sends <= 1, "one send without a loop");
    if (sink.sends == 0) return 0;
    if (dynamic_cast<sndkit::adpcm_t*>(w.decoder.get())) {
        require(sink.bytes <= 4 * chunk, "two 16-bit samples a byte at most");
    } else {
        const unsigned char* first = w.image.begin() + w.pos;
        require(sink.data == first && sink.bytes <= chunk, "whole blocks of the data chunk itself");
    }
    return 0;
}
