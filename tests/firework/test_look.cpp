// Looks: the command line's form with every setting and every refusal, the
// rule that the command line wins setting by setting, and [look] in show
// files with each problem at its position.
#include "firework/look.h"
#include "firework/showfile.h"
#include "tests/firework/scenes.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace vexlor;

namespace {

lookchoice_t parsed(const std::string& text)
{
    lookchoice_t choice;
    std::string problem;
    EXPECT_TRUE(parselook(text, choice, problem)) << text << ": " << problem;
    return choice;
}

TEST(Look, CommandLineFormReadsEverySetting)
{
    const lookchoice_t night = parsed("night");
    EXPECT_TRUE(night.look.night());
    EXPECT_EQ(night.fields, static_cast<unsigned>(look_name));

    const lookchoice_t all = parsed("night,water,wind=4:-1.5:0.25,sky=dusk,horizon=hills,smoke=false,glow=1.5");
    EXPECT_EQ(all.fields, static_cast<unsigned>(look_name | look_water | look_wind | look_sky | look_horizon
                                                | look_smoke | look_glow));
    EXPECT_TRUE(all.look.water);
    EXPECT_EQ(all.look.wind.x, 4.0f);
    EXPECT_EQ(all.look.wind.y, -1.5f);
    EXPECT_EQ(all.look.wind.z, 0.25f);
    EXPECT_EQ(all.look.sky, sky_t::dusk);
    EXPECT_EQ(all.look.horizon, horizon_t::hills);
    EXPECT_FALSE(all.look.smoke);
    EXPECT_EQ(all.look.glow, 1.5f);

    // One number is a wind across the view; the limits themselves are allowed.
    const lookchoice_t edge = parsed("night,wind=12:16:0,water=false,glow=4,smoke=true");
    EXPECT_EQ(edge.look.wind.x, 12.0f);
    EXPECT_EQ(edge.look.wind.y, 16.0f) << "20 m/s exactly";
    EXPECT_FALSE(edge.look.water);
    EXPECT_TRUE(edge.look.smoke);
    EXPECT_EQ(parsed("night,wind=+3").look.wind.x, 3.0f);
    EXPECT_EQ(parsed("night,glow=0").look.glow, 0.0f);
    EXPECT_FALSE(parsed("plain").look.night());
}

TEST(Look, EveryRefusalNamesTheValueAndWhatIsAllowed)
{
    const std::pair<const char*, const char*> cases[] = {
        {"", "no look named (choose plain or night)"},
        {"dawn", "unknown look 'dawn' (choose plain or night)"},
        {"Night", "unknown look 'Night' (choose plain or night)"},
        {"night,fog", "unknown setting 'fog' (settings: water, wind, sky, horizon, smoke, glow)"},
        {"night,", "unknown setting '' (settings: water, wind, sky, horizon, smoke, glow)"},
        {"night,water=yes", "water=yes: water takes true or false"},
        {"night,smoke=0", "smoke=0: smoke takes true or false"},
        {"night,wind=21", "wind=21: a wind of 21 m/s is too strong (at most 20 m/s)"},
        {"night,wind=12:12:12", "wind=12:12:12: a wind of 20.7846 m/s is too strong (at most 20 m/s)"},
        {"night,wind=1:2", "wind=1:2: the wind is X or X:Y:Z in m/s (x to the right, y away, z up)"},
        {"night,wind=east", "wind=east: the wind is X or X:Y:Z in m/s"},
        {"night,wind=inf", "wind=inf: the wind is X or X:Y:Z in m/s"},
        {"night,wind", "wind=: the wind is X or X:Y:Z in m/s"},
        {"night,sky=blue", "sky=blue: unknown sky (choose night or dusk)"},
        {"night,horizon=mountains", "horizon=mountains: unknown horizon (choose skyline or hills)"},
        {"night,glow=5", "glow=5: glow must lie from 0 to 4"},
        {"night,glow=-0.5", "glow=-0.5: glow must lie from 0 to 4"},
        {"night,glow=bright", "glow=bright: glow takes a number from 0 to 4"},
        {"night,glow=1,5", "unknown setting '5'"},
    };
    for (const auto& [text, want] : cases) {
        lookchoice_t choice;
        std::string problem;
        EXPECT_FALSE(parselook(text, choice, problem)) << text;
        EXPECT_EQ(problem.rfind(want, 0), 0u) << text << ": " << problem;
        EXPECT_EQ(problem.find('\n'), std::string::npos) << text;
    }
}

TEST(Look, TheCommandLineWinsSettingBySetting)
{
    look_t show;
    show.name = lookname_t::night;
    show.water = true;
    show.wind = {2, 0, 0};
    show.sky = sky_t::dusk;

    const look_t none = chooselook(show, lookchoice_t{});
    EXPECT_TRUE(none.night() && none.water && none.sky == sky_t::dusk) << "nothing named: the show's look";

    const look_t plain = chooselook(show, parsed("plain"));
    EXPECT_FALSE(plain.night());

    const look_t windier = chooselook(show, parsed("night,wind=0:5:0,water=false"));
    EXPECT_TRUE(windier.night());
    EXPECT_FALSE(windier.water);
    EXPECT_EQ(windier.wind.x, 0.0f);
    EXPECT_EQ(windier.wind.y, 5.0f);
    EXPECT_EQ(windier.sky, sky_t::dusk) << "a setting not named stays the show's";

    const look_t fromplain = chooselook(look_t{}, parsed("night,sky=dusk"));
    EXPECT_TRUE(fromplain.night());
    EXPECT_FALSE(fromplain.water);
    EXPECT_TRUE(fromplain.smoke);
    EXPECT_EQ(fromplain.glow, 1.0f);
}

const std::string shell = "[[shell]]\nkind = \"single\"\ntime = 0\n";

TEST(ShowFile, LookTableWithEverySetting)
{
    tempdir dir;
    show_t show;
    std::vector<std::string> problems;
    const std::string path = dir.write("night.toml", shell + "[look]\nname = \"night\"\nwater = true\n"
                                                              "wind = [3, -1, 0.5]\nsky = \"dusk\"\n"
                                                              "horizon = \"hills\"\nsmoke = false\nglow = 2\n");
    ASSERT_TRUE(readshowfile(path.c_str(), show, problems)) << problems.front();
    EXPECT_TRUE(show.look.night());
    EXPECT_TRUE(show.look.water);
    EXPECT_EQ(show.look.wind.x, 3.0f);
    EXPECT_EQ(show.look.wind.y, -1.0f);
    EXPECT_EQ(show.look.wind.z, 0.5f);
    EXPECT_EQ(show.look.sky, sky_t::dusk);
    EXPECT_EQ(show.look.horizon, horizon_t::hills);
    EXPECT_FALSE(show.look.smoke);
    EXPECT_EQ(show.look.glow, 2.0f);
    EXPECT_EQ(show.shells.size(), 1u);

    // Only a name: every other setting as the look has it.
    const std::string named = dir.write("named.toml", "[look]\nname = \"night\"\n" + shell);
    ASSERT_TRUE(readshowfile(named.c_str(), show, problems));
    EXPECT_TRUE(show.look.night());
    EXPECT_FALSE(show.look.water);
    EXPECT_TRUE(show.look.smoke);
    EXPECT_EQ(show.look.wind.x, 0.0f);

    // No table: the plain look.
    const std::string plain = dir.write("plain.toml", shell);
    ASSERT_TRUE(readshowfile(plain.c_str(), show, problems));
    EXPECT_FALSE(show.look.night());
}

TEST(ShowFile, EveryLookProblemWithItsPosition)
{
    tempdir dir;
    const struct {
        std::string text;
        std::vector<std::string> problems;
    } cases[] = {
        {"[look]\nname = \"dawn\"\nwater = \"yes\"\nwind = [30, 0, 0]\n",
         {"2:8: unknown look \"dawn\" (choose plain or night)", "3:9: water must be true or false, not \"yes\"",
          "4:8: a wind of 30 m/s is too strong (at most 20 m/s)"}},
        {"[look]\nname = 1\nwind = [1, 2]\nsky = \"blue\"\nhorizon = 3\nglow = 9\nfog = 1\n",
         {"2:8: name must be a string: plain or night, not 1",
          "3:8: wind must be an array of three finite numbers [x, y, z] in m/s (x to the right, y away from the viewer, z up), not an array of 2",
          "4:7: unknown sky \"blue\" (choose night or dusk)", "5:11: horizon must be a string: skyline or hills, not 3",
          "6:8: glow must lie from 0 to 4, not 9", "7:1: unknown key 'fog' (look takes name, water, wind, sky, horizon, smoke, glow)"}},
        {"[look]\nname = \"night\"\nwind = [1, nan, 0]\nglow = \"bright\"\nsmoke = 1\n",
         {"3:8: wind must be an array of three finite numbers [x, y, z] in m/s (x to the right, y away from the viewer, z up), and its y is not",
          "4:8: glow must be a finite number from 0 to 4, not \"bright\"", "5:9: smoke must be true or false, not 1"}},
        {"[look]\nwater = true\n", {"1:1: the look has no name (plain or night)"}},
        {"look = \"night\"\n", {"1:8: 'look' must be a table [look] with name, water, wind, sky, horizon, smoke, glow, not \"night\""}},
        {"[look]\nname = \"night\"\n[look]\nname = \"plain\"\n",
         {"3:1: Error while parsing table header: cannot redefine existing table 'look'"}},
        {"[looks]\nname = \"night\"\n",
         {"1:2: unknown key 'looks' (a show holds [[shell]] tables, one [music], one [look] and one [camera] table)"}},
    };
    for (const auto& c : cases) {
        const std::string path = dir.write("show.toml", c.text + shell);
        show_t read;
        std::vector<std::string> problems;
        EXPECT_FALSE(readshowfile(path.c_str(), read, problems)) << c.text;
        std::vector<std::string> expected;
        for (const std::string& p : c.problems) expected.push_back(path + ":" + p);
        EXPECT_EQ(problems, expected) << c.text;
        EXPECT_TRUE(read.shells.empty());
    }
}

} // namespace
