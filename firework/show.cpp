// Shared designs: a 64-bit hash over every stored bit of a star list finds
// candidates, a bitwise comparison confirms them.
#include "firework/show.h"

#include "firework/loadsave.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

namespace vexlor {

namespace {

class hasher_t {
public:
    void bits(const void* data, std::size_t size)
    {
        const auto* bytes = static_cast<const unsigned char*>(data);
        for (std::size_t i = 0; i < size; ++i)
            m_hash = (m_hash ^ bytes[i]) * 0x100000001b3ull;
    }
    template <typename T> void value(const T& v) { bits(&v, sizeof v); }
    std::uint64_t hash() const { return m_hash; }

private:
    std::uint64_t m_hash = 0xcbf29ce484222325ull;
};

std::uint64_t hashfires(const std::vector<fire_t>& fires)
{
    hasher_t h;
    h.value(fires.size());
    for (const fire_t& fire : fires) {
        h.value(fire.direction);
        h.value(fire.speed);
        h.value(fire.effect);
        h.value(fire.powders.size());
        for (const powder_t& powder : fire.powders) {
            h.value(powder.delay);
            h.value(powder.size);
            h.value(powder.drag);
            h.value(powder.films.size());
            if (!powder.films.empty())
                h.bits(powder.films.data(), powder.films.size() * sizeof(film_t));
        }
    }
    return h.hash();
}

static_assert(sizeof(film_t) == 9 * sizeof(float), "films are compared as plain bits");

template <typename T> bool samebits(const T& a, const T& b)
{
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

bool samefires(const std::vector<fire_t>& a, const std::vector<fire_t>& b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const fire_t& x = a[i];
        const fire_t& y = b[i];
        if (!samebits(x.direction, y.direction) || !samebits(x.speed, y.speed) || x.effect != y.effect
            || x.powders.size() != y.powders.size())
            return false;
        for (std::size_t k = 0; k < x.powders.size(); ++k) {
            const powder_t& p = x.powders[k];
            const powder_t& q = y.powders[k];
            if (!samebits(p.delay, q.delay) || !samebits(p.size, q.size) || !samebits(p.drag, q.drag)
                || p.films.size() != q.films.size()
                || (!p.films.empty() && std::memcmp(p.films.data(), q.films.data(), p.films.size() * sizeof(film_t)) != 0))
                return false;
        }
    }
    return true;
}

std::uint64_t hasheffect(const stareffect_t& effect)
{
    hasher_t h;
    h.value(effect.stages.size());
    for (const stageeffect_t& stage : effect.stages) {
        h.value(stage.motion);
        h.value(stage.split);
        h.value(stage.kick);
        h.value(stage.tail);
        h.value(stage.tailgap);
        h.value(stage.tailsize);
        h.value(stage.tailcolor);
        h.value(stage.strobe);
        h.value(stage.duty);
        h.value(stage.crackle);
        h.value(stage.flash);
        h.value(stage.spread);
    }
    return h.hash();
}

template <typename T> std::size_t vectorbytes(const std::vector<T>& v)
{
    return v.capacity() * sizeof(T);
}

} // namespace

std::size_t designindex_t::add(show_t& show, std::vector<fire_t>&& fires)
{
    const std::uint64_t hash = hashfires(fires);
    const auto range = m_byhash.equal_range(hash);
    for (auto it = range.first; it != range.second; ++it)
        if (samefires(show.designs[it->second], fires))
            return it->second;
    show.designs.push_back(std::move(fires));
    m_byhash.emplace(hash, show.designs.size() - 1);
    return show.designs.size() - 1;
}

std::uint32_t effectindex_t::add(show_t& show, stareffect_t&& effect)
{
    const std::uint64_t hash = hasheffect(effect);
    const auto range = m_byhash.equal_range(hash);
    for (auto it = range.first; it != range.second; ++it)
        if (sameeffect(show.effects[it->second - 1], effect))
            return it->second;
    show.effects.push_back(std::move(effect));
    const auto number = static_cast<std::uint32_t>(show.effects.size());
    m_byhash.emplace(hash, number);
    return number;
}

void addshell(show_t& show, designindex_t& index, firework_t&& shell)
{
    const std::size_t design = index.add(show, std::move(shell.fires));
    shell.fires = {};
    show.shells.push_back(std::move(shell));
    show.design.push_back(design);
}

show_t sharescene(std::vector<firework_t>&& scene)
{
    show_t show;
    designindex_t index;
    show.shells.reserve(scene.size());
    show.design.reserve(scene.size());
    for (firework_t& shell : scene)
        addshell(show, index, std::move(shell));
    scene = {};
    return show;
}

firework_t expandshell(const show_t& show, std::size_t shell)
{
    firework_t firework = show.shells[shell];
    firework.fires = show.designs[show.design[shell]];
    return firework;
}

std::vector<firework_t> expand(const show_t& show)
{
    std::vector<firework_t> scene;
    scene.reserve(show.shells.size());
    for (std::size_t i = 0; i < show.shells.size(); ++i)
        scene.push_back(expandshell(show, i));
    return scene;
}

void liftlaunchsites(show_t& show)
{
    for (firework_t& shell : show.shells) shell.position.z += launchlift;
    // The camera with them, so that distances stay as they were.
    show.camera.position.z += launchlift;
    show.camera.target.z += launchlift;
}

bool expandable(const show_t& show, std::size_t shell, std::string& reason)
{
    for (const fire_t& fire : show.designs[show.design[shell]]) {
        const stareffect_t* effect = effectof(&show.effects, fire.effect);
        if (effect == nullptr)
            continue;
        for (const stageeffect_t& stage : effect->stages) {
            const char* why = stage.split        ? "stars that split"
                            : stage.tail > 0     ? "stars with tails"
                            : stage.strobe > 0   ? "strobing stars"
                            : stage.crackle > 0  ? "crackling stars"
                            : stage.motion == motion_t::air ? "stars that fly under air drag"
                                                            : nullptr;
            if (why != nullptr) {
                reason = std::string("a scene file cannot hold ") + why;
                return false;
            }
        }
    }
    return true;
}

const shellorigin_t* originof(const show_t& show, std::size_t shell)
{
    if (shell >= show.origin.size() || show.origin[shell] >= show.origins.size())
        return nullptr;
    return &show.origins[show.origin[shell]];
}

std::size_t showbytes(const show_t& show)
{
    std::size_t bytes = vectorbytes(show.designs) + vectorbytes(show.shells) + vectorbytes(show.design)
                      + vectorbytes(show.origins) + vectorbytes(show.origin)
                      + vectorbytes(show.effects) + vectorbytes(show.notes) + vectorbytes(show.entries);
    for (const stareffect_t& effect : show.effects)
        bytes += vectorbytes(effect.stages);
    for (const std::vector<fire_t>& fires : show.designs) {
        bytes += vectorbytes(fires);
        for (const fire_t& fire : fires) {
            bytes += vectorbytes(fire.powders);
            for (const powder_t& powder : fire.powders)
                bytes += vectorbytes(powder.films);
        }
    }
    return bytes;
}

bool save(const char* path, const show_t& show)
{
    errno = 0;
    std::ofstream os(path, std::ios::binary | std::ios::trunc);
    if (!os)
        return false;
    // Each value ends with a flush; into memory first, so that a shell costs
    // one write rather than one per line.
    std::ostringstream shell;
    savecount(shell, show.shells.size());
    for (std::size_t i = 0; i < show.shells.size(); ++i) {
        savefirework(shell, show.shells[i], show.designs[show.design[i]]);
        os << shell.str();
        shell.str({});
        if (!os)
            return false; // a full disk: the rest would fail too
    }
    os << shell.str();
    return closesaved(os);
}

} // namespace vexlor
