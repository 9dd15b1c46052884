// Writing and reading scene files. The reader is deliberately lenient:
// unparsable numbers read as 0, counts take C's base prefixes ("0x", "0").
// Numbers are written and read in the classic "C" form whatever the locale.
#include "firework/loadsave.h"

#include "utils/numtext.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace vexlor {

namespace {

// Every value ends in CR LF whatever the platform: the stream is binary.
template <typename T> void put(std::ostream& os, const T& value)
{
    os << value;
    os << '\r';
    os << std::endl;
}

void putnumber(std::ostream& os, float value)
{
    put(os, static_cast<double>(value));
}

void putcount(std::ostream& os, std::size_t count)
{
    put(os, count);
}

void savefilm(std::ostream& os, const film_t& film)
{
    putnumber(os, film.duration);
    put(os, film.from);
    put(os, film.to);
}

void savepowder(std::ostream& os, const powder_t& powder)
{
    putnumber(os, powder.delay);
    putnumber(os, powder.size);
    putnumber(os, powder.drag);
    putcount(os, powder.films.size());
    for (const film_t& film : powder.films)
        savefilm(os, film);
}

void savefire(std::ostream& os, const fire_t& fire)
{
    put(os, fire.direction);
    putnumber(os, fire.speed);
    putcount(os, fire.powders.size());
    for (const powder_t& powder : fire.powders)
        savepowder(os, powder);
}

} // namespace

void savecount(std::ostream& os, std::size_t count)
{
    putcount(os, count);
}

void savefirework(std::ostream& os, const firework_t& firework, const std::vector<fire_t>& fires)
{
    putnumber(os, firework.time);
    put(os, firework.position);
    put(os, firework.velocity);
    putnumber(os, firework.fuse);
    putnumber(os, firework.size);
    putnumber(os, firework.drag);
    put(os, firework.color);
    putcount(os, fires.size());
    for (const fire_t& fire : fires)
        savefire(os, fire);
}

namespace {

// The state of one load: the file, the one line buffer that a failed read
// leaves as it was, and the one string stream that every geometry value goes
// through (its error state is never cleared).
class reader_t {
public:
    explicit reader_t(std::istream& is) : m_is(is) {}

    void next()
    {
        if (std::getline(m_is, m_scratch))
            m_line.swap(m_scratch);
    }

    float number()
    {
        next();
        return static_cast<float>(basekit::strtodclassic(m_line.c_str(), nullptr));
    }

    unsigned long count()
    {
        next();
        return std::strtoul(m_line.c_str(), nullptr, 0);
    }

    template <typename T> void geometry(T& value)
    {
        next();
        m_geometry.str(m_line);
        m_geometry >> value;
    }

private:
    std::istream& m_is;
    std::string m_line;
    std::string m_scratch;
    std::istringstream m_geometry;
};

void loadfilm(reader_t& in, film_t& film)
{
    film.duration = in.number();
    in.geometry(film.from);
    in.geometry(film.to);
}

void loadpowder(reader_t& in, powder_t& powder)
{
    powder.delay = in.number();
    powder.size = in.number();
    powder.drag = in.number();
    powder.films.resize(in.count());
    for (film_t& film : powder.films)
        loadfilm(in, film);
}

void loadfire(reader_t& in, fire_t& fire)
{
    in.geometry(fire.direction);
    fire.speed = in.number();
    fire.powders.resize(in.count());
    for (powder_t& powder : fire.powders)
        loadpowder(in, powder);
}

void loadfirework(reader_t& in, firework_t& firework)
{
    firework.launched = false;
    firework.exploded = false;
    firework.time = in.number();
    in.geometry(firework.position);
    in.geometry(firework.velocity);
    firework.fuse = in.number();
    firework.size = in.number();
    firework.drag = in.number();
    in.geometry(firework.color);
    firework.fires.resize(in.count());
    for (fire_t& fire : firework.fires)
        loadfire(in, fire);
}

} // namespace

bool save(const char* path, const std::vector<firework_t>& scene)
{
    errno = 0;
    std::ofstream os(path, std::ios::binary | std::ios::trunc);
    if (!os)
        return false;
    os.imbue(std::locale::classic());
    putcount(os, scene.size());
    for (const firework_t& firework : scene) {
        savefirework(os, firework, firework.fires);
        if (!os)
            return false; // a full disk: the rest would fail too
    }
    return closesaved(os);
}

bool closesaved(std::ofstream& os)
{
    os.close();
    return !os.fail();
}

bool openscene(const char* path, std::ifstream& is)
{
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        return false;
    is.open(path, std::ios::binary);
    return is.is_open();
}

bool load(const char* path, std::vector<firework_t>& scene)
{
    std::ifstream is;
    if (!openscene(path, is))
        return false;
    reader_t in(is);
    scene.resize(in.count());
    for (firework_t& firework : scene)
        loadfirework(in, firework);
    return !is.fail();
}

} // namespace vexlor
