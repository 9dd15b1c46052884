// Scene counts, for shows held with shared designs as for plain scenes.
#include "firework/sceneinfo.h"

namespace vexlor {

namespace {

void addfires(scenecounts_t& counts, const std::vector<fire_t>& fires, std::size_t times)
{
    counts.fires += fires.size() * times;
    for (const fire_t& fire : fires) {
        counts.powders += fire.powders.size() * times;
        for (const powder_t& powder : fire.powders)
            counts.films += powder.films.size() * times;
    }
}

} // namespace

scenecounts_t countscene(const std::vector<firework_t>& scene)
{
    scenecounts_t counts;
    counts.fireworks = scene.size();
    for (const firework_t& firework : scene)
        addfires(counts, firework.fires, 1);
    return counts;
}

scenecounts_t countshow(const show_t& show)
{
    scenecounts_t counts;
    counts.fireworks = show.shells.size();
    std::vector<std::size_t> uses(show.designs.size(), 0);
    for (std::size_t design : show.design)
        ++uses[design];
    for (std::size_t i = 0; i < show.designs.size(); ++i)
        addfires(counts, show.designs[i], uses[i]);
    return counts;
}

} // namespace vexlor
