// Fuzz target of the strict scene reader, with load and save on what it
// accepts. Invariants, on every input:
//  - the reader ends; on refusal the scene is empty and the message is one
//    line "fuzz.scene:LINE: ..." naming a line of the input (or one after);
//  - read from a file (through its window, which refuses an over-long line
//    unread) it gives the same verdict and message as from memory;
//  - whatever the reader accepts, load reads to the very same scene;
//  - save then writes a file that the reader accepts again, and reads to what
//    load makes of that file.
#include "firework/loadsave.h"
#include "firework/scenereader.h"
#include "tests/firework/scenes.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace {

void require(bool holds, const char* what)
{
    if (!holds) {
        std::fprintf(stderr, "invariant broken: %s\n", what);
        std::abort();
    }
}

// A file in memory that load and save open by name, so no disk is touched.
class memfile_t {
public:
    memfile_t() : m_fd(memfd_create("fuzz.scene", 0)), m_path("/proc/self/fd/" + std::to_string(m_fd))
    {
        require(m_fd >= 0, "memfd_create");
    }

    const char* path() const { return m_path.c_str(); }

    void write(std::string_view text) const
    {
        require(ftruncate(m_fd, 0) == 0, "ftruncate");
        require(pwrite(m_fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()), "pwrite");
    }

    std::string read() const
    {
        std::string text(static_cast<std::size_t>(lseek(m_fd, 0, SEEK_END)), '\0');
        require(pread(m_fd, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()), "pread");
        return text;
    }

private:
    int m_fd;
    std::string m_path;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const memfile_t file;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::vector<vexlor::firework_t> read;
    std::string message;
    const bool accepted = vexlor::readscenetext("fuzz.scene", text, read, message);
    file.write(text);
    std::vector<vexlor::firework_t> fromfile;
    std::string filemessage;
    const bool fileaccepted = vexlor::readscene(file.path(), fromfile, filemessage);
    const std::string filename = file.path();
    require(fileaccepted == accepted && scenes::identical(read, fromfile)
                && (accepted || filemessage.substr(filename.size()) == message.substr(10)),
            "a file and the same text in memory read differently");
    if (!accepted) {
        require(read.empty(), "a refused file left a scene");
        require(message.rfind("fuzz.scene:", 0) == 0 && message.find('\n') == std::string::npos,
                "the message is not one line naming the file");
        const std::size_t line = std::strtoul(message.c_str() + 11, nullptr, 10);
        const std::size_t lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'))
                                + (!text.empty() && text.back() != '\n');
        require(line >= 1 && line <= lines + 1, "the message names a line the input does not have");
        return 0;
    }

    std::vector<vexlor::firework_t> loaded;
    require(vexlor::load(file.path(), loaded), "load failed on an accepted file");
    require(scenes::identical(read, loaded), "load read an accepted file to another scene");

    require(vexlor::save(file.path(), read), "save failed");
    const std::string saved = file.read();
    std::vector<vexlor::firework_t> again, reloaded;
    require(vexlor::readscenetext("saved.scene", saved, again, message), "the reader refused what save wrote");
    require(vexlor::load(file.path(), reloaded) && scenes::identical(again, reloaded),
            "load read a saved file to another scene");
    return 0;
}
