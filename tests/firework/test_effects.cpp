// The effects library checked on the model: each effect's shape and timing
// from its evaluated points, real sizes against the published figures, the
// sounds an effect makes, and the closed form kept (any instant in any order,
// designs held once, the show's end and busiest frame covering every effect).
#include "firework/ballistic.h"
#include "firework/effect.h"
#include "firework/evaluate.h"
#include "firework/showfile.h"
#include "firework/showtiming.h"
#include "firework/soundcue.h"
#include "firework/starlimits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <random>
#include <string>
#include <vector>

using namespace vexlor;

namespace {

constexpr double k_pi = 3.14159265358979323846;

show_t readshow(const std::string& text)
{
    show_t show;
    std::vector<std::string> problems;
    EXPECT_TRUE(readshowtext(text, "effects.toml", show, problems)) << (problems.empty() ? "" : problems.front());
    return show;
}

// The one problem a show file gives, without the file's name.
std::string problemof(const std::string& text)
{
    show_t show;
    std::vector<std::string> problems;
    EXPECT_FALSE(readshowtext(text, "bad.toml", show, problems));
    if (problems.size() != 1)
        return "not one problem but " + std::to_string(problems.size());
    return problems.front().substr(std::strlen("bad.toml:"));
}

const std::vector<fire_t>& designof(const show_t& show, std::size_t shell)
{
    return show.designs[show.design[shell]];
}

// A star's points b seconds after a burst at the origin: all of them as a
// frame draws them, or only where its stages reach.
std::vector<primitive_t> pointsof(const show_t& show, const fire_t& fire, float b, bool heads)
{
    std::vector<primitive_t> points;
    starpoints(fire, &show.effects, {0.0f, 0.0f, 0.0f}, b, points, heads);
    return points;
}

const stageeffect_t& stageof(const show_t& show, const fire_t& fire, std::size_t stage)
{
    const stareffect_t* effect = effectof(&show.effects, fire.effect);
    EXPECT_NE(effect, nullptr);
    return effect->stages.at(stage);
}

double length(double x, double y, double z)
{
    return std::sqrt(x * x + y * y + z * z);
}

double filmtime(const powder_t& powder)
{
    double sum = 0.0;
    for (const film_t& film : powder.films)
        sum += film.duration;
    return sum;
}

std::string peony(const std::string& calibre, const std::string& style)
{
    return "[[shell]]\nkind = \"peony\"\ntime = 0\ncalibre = \"" + calibre + "\"\nstyle = \"" + style + "\"\n";
}

} // namespace

// The air law integrated step by step (classic fourth-order Runge-Kutta)
// agrees with the closed form the stars fly by, position and velocity.
TEST(Effects, AirFlightIsTheSolutionOfItsLaw)
{
    const geokit::direction3_t v{12.0f, -7.0f, 30.0f};
    const float drag = 0.3f; // velocity retained per second
    const double k = -std::log(static_cast<double>(drag));
    double p[3] = {0, 0, 0}, u[3] = {v.x, v.y, v.z};
    const double h = 1e-4;
    const auto accel = [k](const double* vel, int axis) { return -k * vel[axis] + (axis == 2 ? -9.8 : 0.0); };
    for (int step = 1; step <= 40000; ++step) {
        for (int axis = 0; axis < 3; ++axis) {
            // Each axis is linear in its own velocity alone.
            const double v1 = u[axis];
            double w[3] = {u[0], u[1], u[2]};
            const double a1 = accel(w, axis);
            w[axis] = v1 + 0.5 * h * a1;
            const double v2 = w[axis], a2 = accel(w, axis);
            w[axis] = v1 + 0.5 * h * a2;
            const double v3 = w[axis], a3 = accel(w, axis);
            w[axis] = v1 + h * a3;
            const double v4 = w[axis], a4 = accel(w, axis);
            p[axis] += h / 6.0 * (v1 + 2 * v2 + 2 * v3 + v4);
            u[axis] += h / 6.0 * (a1 + 2 * a2 + 2 * a3 + a4);
        }
        if (step % 10000 == 0) {
            const float s = static_cast<float>(step * h);
            const geokit::position3_t at = flightpoint(motion_t::air, {0, 0, 0}, v, s, drag);
            const geokit::direction3_t vel = flightvelocity(motion_t::air, v, s, drag);
            EXPECT_NEAR(at.x, p[0], 1e-3 * (1 + std::fabs(p[0])));
            EXPECT_NEAR(at.y, p[1], 1e-3 * (1 + std::fabs(p[1])));
            EXPECT_NEAR(at.z, p[2], 1e-3 * (1 + std::fabs(p[2])));
            EXPECT_NEAR(vel.x, u[0], 1e-3 * (1 + std::fabs(u[0])));
            EXPECT_NEAR(vel.z, u[2], 1e-3 * (1 + std::fabs(u[2])));
        }
    }
    // The shells' law too: its velocity is the slope of its position.
    const float s = 1.7f, ds = 1e-3f, shelldrag = 0.8f;
    const geokit::position3_t a = flightpoint(motion_t::classic, {0, 0, 0}, v, s - ds, shelldrag);
    const geokit::position3_t b = flightpoint(motion_t::classic, {0, 0, 0}, v, s + ds, shelldrag);
    const geokit::direction3_t slope = flightvelocity(motion_t::classic, v, s, shelldrag);
    EXPECT_NEAR(slope.x, (b.x - a.x) / (2 * ds), 0.05);
    EXPECT_NEAR(slope.z, (b.z - a.z) / (2 * ds), 0.05);
}

TEST(Effects, ARingsStarsLieInOnePlaneAtItsTilt)
{
    const show_t show = readshow("[[shell]]\nkind = \"ring\"\ntime = 0\ncalibre = \"150mm\"\ntilt = 30\n");
    const std::vector<fire_t>& fires = designof(show, 0);
    ASSERT_GE(fires.size(), 16u);
    // The plane's normal from two stars a quarter turn apart.
    const geokit::direction3_t& d0 = fires[0].direction;
    const geokit::direction3_t& d1 = fires[fires.size() / 4].direction;
    double n[3] = {d0.y * d1.z - d0.z * d1.y, d0.z * d1.x - d0.x * d1.z, d0.x * d1.y - d0.y * d1.x};
    const double nl = length(n[0], n[1], n[2]);
    ASSERT_GT(nl, 0.5);
    for (double& c : n)
        c /= nl;
    // Leaned back 30 degrees from facing the audience (who look along +y).
    EXPECT_NEAR(std::acos(std::fabs(n[1])) * 180.0 / k_pi, 30.0, 0.5);
    for (const float b : {0.2f, 1.0f, 2.5f}) {
        std::vector<primitive_t> points;
        for (const fire_t& fire : fires)
            for (const primitive_t& p : pointsof(show, fire, b, true))
                points.push_back(p);
        ASSERT_EQ(points.size(), fires.size()) << "at " << b;
        double centre[3] = {0, 0, 0};
        for (const primitive_t& p : points) {
            centre[0] += p.position.x / points.size();
            centre[1] += p.position.y / points.size();
            centre[2] += p.position.z / points.size();
        }
        double off = 0.0, reach = 0.0;
        for (const primitive_t& p : points) {
            const double r[3] = {p.position.x - centre[0], p.position.y - centre[1], p.position.z - centre[2]};
            off = std::max(off, std::fabs(r[0] * n[0] + r[1] * n[1] + r[2] * n[2]));
            reach = std::max(reach, length(r[0], r[1], r[2]));
        }
        EXPECT_GT(reach, 10.0) << "at " << b;
        EXPECT_LT(off, 1e-3 * reach) << "at " << b;
    }
}

TEST(Effects, EachCrossetteStarSplitsInFourCarryingOnFromItself)
{
    const show_t show = readshow("[[shell]]\nkind = \"crossette\"\ntime = 0\ncalibre = \"100mm\"\nsplit = 1.2\n");
    const std::vector<fire_t>& fires = designof(show, 0);
    ASSERT_GE(fires.size(), 8u);
    for (std::size_t i = 0; i < fires.size(); i += fires.size() / 4) {
        const fire_t& fire = fires[i];
        ASSERT_EQ(fire.powders.size(), 5u);
        const float T = fire.powders[1].delay;
        EXPECT_FLOAT_EQ(T, 1.2f);
        // The parent's state at the split, from its own stage.
        const stageeffect_t& own = stageof(show, fire, 0);
        const geokit::direction3_t V{fire.speed * fire.direction.x, fire.speed * fire.direction.y,
                                     fire.speed * fire.direction.z};
        const geokit::position3_t P = flightpoint(own.motion, {0, 0, 0}, V, T, fire.powders[0].drag);
        const geokit::direction3_t W = flightvelocity(own.motion, V, T, fire.powders[0].drag);

        const std::vector<primitive_t> before = pointsof(show, fire, T - 0.05f, true);
        ASSERT_EQ(before.size(), 1u);
        const std::vector<primitive_t> at = pointsof(show, fire, T + 1e-4f, true);
        ASSERT_EQ(at.size(), 4u) << "star " << i;
        for (const primitive_t& p : at)
            EXPECT_LT(length(p.position.x - P.x, p.position.y - P.y, p.position.z - P.z), 0.05);

        // Later, the four pieces fly apart symmetrically round where the
        // parent itself would have flown on to.
        const float d = 0.6f;
        const std::vector<primitive_t> later = pointsof(show, fire, T + d, true);
        ASSERT_EQ(later.size(), 4u);
        const stageeffect_t& piece = stageof(show, fire, 1);
        const geokit::position3_t on = flightpoint(piece.motion, P, W, d, fire.powders[1].drag);
        double mean[3] = {0, 0, 0};
        for (const primitive_t& p : later) {
            mean[0] += p.position.x / 4.0;
            mean[1] += p.position.y / 4.0;
            mean[2] += p.position.z / 4.0;
        }
        EXPECT_LT(length(mean[0] - on.x, mean[1] - on.y, mean[2] - on.z), 0.05) << "star " << i;
        double spread = 0.0;
        for (const primitive_t& p : later)
            spread = std::max(spread, length(p.position.x - mean[0], p.position.y - mean[1], p.position.z - mean[2]));
        EXPECT_GT(spread, 1.0);
        // Each kick lies across the parent's path at the split.
        for (std::size_t k = 1; k < 5; ++k) {
            const geokit::direction3_t& kick = stageof(show, fire, k).kick;
            EXPECT_LT(std::fabs(kick.x * W.x + kick.y * W.y + kick.z * W.z),
                      1e-3 * length(kick.x, kick.y, kick.z) * length(W.x, W.y, W.z));
        }
    }
}

TEST(Effects, AWillowBurnsThreeTimesAsLongAsAPeonyAndEndsLower)
{
    for (const char* calibre : {"75mm", "150mm"}) {
        const show_t willow = readshow(std::string("[[shell]]\nkind = \"willow\"\ntime = 0\ncalibre = \"") + calibre + "\"\n");
        const show_t peony = readshow(std::string("[[shell]]\nkind = \"peony\"\ntime = 0\ncalibre = \"") + calibre + "\"\n");
        const fire_t& w = designof(willow, 0).front();
        const fire_t& p = designof(peony, 0).front();
        EXPECT_GE(filmtime(w.powders[0]), 3.0 * filmtime(p.powders[0])) << calibre;
        // Where the stars are as they go out, from the burst point.
        const auto lowest = [](const show_t& show) {
            double low = 0.0;
            std::size_t seen = 0;
            for (const fire_t& fire : show.designs[show.design[0]]) {
                const std::vector<primitive_t> points =
                    pointsof(show, fire, static_cast<float>(0.995 * filmtime(fire.powders[0])), true);
                for (const primitive_t& point : points)
                    low = std::min(low, static_cast<double>(point.position.z));
                seen += points.size();
            }
            EXPECT_GT(seen, 0u);
            return low;
        };
        EXPECT_LT(lowest(willow), lowest(peony) - 10.0) << calibre;
        // And it has the tails that hang behind the stars.
        EXPECT_GT(stageof(willow, w, 0).tail, 0);
    }
}

TEST(Effects, APalmHasAFewStarsWithThickTailsAndARisingTail)
{
    const show_t show = readshow("[[shell]]\nkind = \"palm\"\ntime = 0\ncalibre = \"125mm\"\n"
                                 "[[shell]]\nkind = \"peony\"\ntime = 0\ncalibre = \"125mm\"\n");
    ASSERT_EQ(show.shells.size(), 3u);
    const std::vector<fire_t>& palm = designof(show, 0);
    EXPECT_GE(palm.size(), 5u);
    EXPECT_LE(palm.size(), 20u);
    EXPECT_LT(palm.size() * 5, designof(show, 2).size());
    for (const fire_t& fire : palm) {
        const stageeffect_t& stage = stageof(show, fire, 0);
        EXPECT_GE(stage.tail, 8);
        // Drawn with its tail a second in: more points than stages.
        EXPECT_GT(pointsof(show, fire, 1.0f, false).size(), 8u);
        EXPECT_GT(fire.powders[0].size, designof(show, 2).front().powders[0].size);
    }
    // The rising tail follows the shell up until it breaks.
    EXPECT_EQ(noteof(show, 1).part, part_t::risingtail);
    const firework_t& shell = show.shells[0];
    const fire_t& tail = designof(show, 1).front();
    for (const float s : {0.5f, 1.5f}) {
        const std::vector<primitive_t> points = pointsof(show, tail, s, true);
        ASSERT_EQ(points.size(), 1u);
        const geokit::position3_t up = ballistic({0, 0, 0}, shell.velocity, s, shell.drag);
        EXPECT_LT(length(points[0].position.x - up.x, points[0].position.y - up.y, points[0].position.z - up.z), 1e-3);
    }
}

TEST(Effects, AStrobeStarIsDarkAndLitAtItsRate)
{
    for (const double rate : {4.0, 12.0}) {
        const show_t show = readshow("[[shell]]\nkind = \"strobe\"\ntime = 0\ncalibre = \"100mm\"\nstrobe = "
                                     + std::to_string(rate) + "\n");
        const std::vector<fire_t>& fires = designof(show, 0);
        for (std::size_t i = 0; i < fires.size(); i += fires.size() / 3) {
            const fire_t& fire = fires[i];
            const double burn = filmtime(fire.powders[0]);
            ASSERT_GT(burn, 1.0);
            // Sampled far finer than a flash: count the flashes that begin.
            const double step = 1.0 / (rate * 200.0);
            int flashes = 0, lit = 0, samples = 0;
            bool was = true;
            for (double b = step; b < burn - step; b += step, ++samples) {
                const bool now = !pointsof(show, fire, static_cast<float>(b), false).empty();
                if (now && !was)
                    ++flashes;
                lit += now ? 1 : 0;
                was = now;
            }
            EXPECT_NEAR(flashes, rate * burn, 1.5) << "rate " << rate << ", star " << i;
            const double share = static_cast<double>(lit) / samples;
            EXPECT_GT(share, 0.2);
            EXPECT_LT(share, 0.8);
        }
    }
}

TEST(Effects, AMultibreakBreaksAtDistinctTimesAlongOneFlight)
{
    const show_t show = readshow("[[shell]]\nkind = \"multibreak\"\ntime = 2\ncalibre = \"150mm\"\n"
                                 "breaks = [\"peony\", {kind = \"ring\", color = \"blue\"}, \"crackle\"]\n");
    ASSERT_EQ(show.shells.size(), 3u);
    const firework_t& first = show.shells[0];
    for (std::size_t k = 0; k < 3; ++k) {
        const firework_t& shell = show.shells[k];
        EXPECT_EQ(noteof(show, k).part, k == 0 ? part_t::whole : part_t::laterbreak);
        // One shell's flight: the same launch, breaking later each time.
        EXPECT_EQ(shell.time, first.time);
        EXPECT_TRUE(shell.velocity.x == first.velocity.x && shell.velocity.z == first.velocity.z
                    && shell.drag == first.drag);
        if (k > 0) {
            EXPECT_GT(shell.fuse, show.shells[k - 1].fuse + 0.1f);
            EXPECT_NE(show.design[k], show.design[k - 1]);
        }
        // Only the first stage is heard launching; each is heard breaking.
        EXPECT_EQ(noteof(show, k).launch == soundclip_t::none, k > 0);
        EXPECT_NE(noteof(show, k).burst, soundclip_t::none);
    }
    // The shells' bursts are all seen: the evaluation draws each break's
    // stars from its own burst time on.
    evaluator_t evaluator;
    std::vector<primitive_t> points;
    const auto count = [&](float t) {
        evaluator.points(show, t, points);
        return points.size();
    };
    const float b0 = first.time + first.fuse, b1 = first.time + show.shells[1].fuse;
    EXPECT_LT(count(b0 + 0.01f), count(b1 + 0.01f));
}

TEST(Effects, AMineStartsAtGroundLevelInItsCone)
{
    const show_t show = readshow("[[shell]]\nkind = \"mine\"\ntime = 1\nposition = [5, 7, 0]\ncone = 20\n"
                                 "angle = 10\nazimuth = 90\n");
    ASSERT_EQ(show.shells.size(), 1u);
    const firework_t& shell = show.shells[0];
    EXPECT_EQ(shell.fuse, 0.0f);
    EXPECT_EQ(shell.position.z, 0.0f);
    // The cone's axis: 10 degrees from vertical towards +y.
    const double axis[3] = {0.0, std::sin(10.0 * k_pi / 180.0), std::cos(10.0 * k_pi / 180.0)};
    const std::vector<fire_t>& fires = designof(show, 0);
    ASSERT_GE(fires.size(), 12u);
    double widest = 0.0;
    for (const fire_t& fire : fires) {
        const geokit::direction3_t& d = fire.direction;
        const double c = (d.x * axis[0] + d.y * axis[1] + d.z * axis[2]) / length(d.x, d.y, d.z);
        const double off = std::acos(std::min(1.0, c)) * 180.0 / k_pi;
        EXPECT_LE(off, 20.0 + 1e-3);
        widest = std::max(widest, off);
        // From the launch site at once, then up.
        const std::vector<primitive_t> start = pointsof(show, fire, 1e-4f, true);
        ASSERT_EQ(start.size(), 1u);
        EXPECT_LT(length(start[0].position.x, start[0].position.y, start[0].position.z), 0.05);
        EXPECT_GT(pointsof(show, fire, 0.5f, true).at(0).position.z, 5.0f);
    }
    EXPECT_GT(widest, 15.0) << "the spray fills its cone";
}

TEST(Effects, ACakeFiresItsShotsAtTheIntervalAcrossItsFan)
{
    const show_t show = readshow("[[shell]]\nkind = \"cake\"\ntime = 3\nshots = 5\nshotinterval = 0.4\nfan = 60\n");
    ASSERT_EQ(show.shells.size(), 5u);
    for (std::size_t i = 0; i < 5; ++i) {
        const firework_t& shot = show.shells[i];
        EXPECT_NEAR(shot.time, 3.0 + 0.4 * static_cast<double>(i), 1e-5);
        EXPECT_EQ(noteof(show, i).part, part_t::shot);
        // Leaning from -30 to 30 degrees across the fan, in even steps.
        const double lean = std::atan2(shot.velocity.x, shot.velocity.z) * 180.0 / k_pi;
        EXPECT_NEAR(lean, -30.0 + 15.0 * static_cast<double>(i), 0.01);
        EXPECT_NEAR(shot.velocity.y, 0.0, 1e-4);
    }
    // Every shot alike: one design held for all of them.
    EXPECT_EQ(show.designs.size(), 1u);
}

// Burst heights and diameters of real shells: cylinders after the rule of 30
// m of height and 14 m of diameter an inch, balls after the published table
// (90 mm: 120 m and 60 m, 150 mm: 190 m and 150-170 m, 300 mm: 330 m and
// 300-320 m). Measured on the evaluated frames, within 15 %.
TEST(Effects, HeightsAndDiametersFollowThePublishedFigures)
{
    struct figure_t {
        const char* calibre;
        const char* style;
        double height, diameter;
    };
    const figure_t figures[] = {
        {"75mm", "cylinder", 30.0 * 75 / 25.4, 14.0 * 75 / 25.4},
        {"150mm", "cylinder", 30.0 * 150 / 25.4, 14.0 * 150 / 25.4},
        {"300mm", "cylinder", 30.0 * 300 / 25.4, 14.0 * 300 / 25.4},
        {"3in", "cylinder", 90.0, 42.0},
        {"90mm", "ball", 120.0, 60.0},
        {"150mm", "ball", 190.0, 160.0},
        {"300mm", "ball", 330.0, 310.0},
    };
    for (const figure_t& figure : figures) {
        const show_t show = readshow(peony(figure.calibre, figure.style));
        const firework_t& shell = show.shells.at(0);
        const double height = ballistic({0, 0, 0}, shell.velocity, shell.fuse, shell.drag).z;
        EXPECT_NEAR(height, figure.height, 0.15 * figure.height) << figure.calibre << " " << figure.style;
        // It breaks at the top of its climb.
        EXPECT_LT(ballistic({0, 0, 0}, shell.velocity, shell.fuse + 0.3f, shell.drag).z, height);
        EXPECT_LT(ballistic({0, 0, 0}, shell.velocity, shell.fuse - 0.3f, shell.drag).z, height);
        // The widest the break gets across, over the frames of its burn.
        evaluator_t evaluator;
        std::vector<primitive_t> points;
        double widest = 0.0;
        for (float b = 0.05f; b < 8.0f; b += 1.0f / 30.0f) {
            evaluator.points(show, shell.time + shell.fuse + b, points);
            if (points.empty())
                continue;
            auto [lo, hi] = std::minmax_element(points.begin(), points.end(), [](const primitive_t& a, const primitive_t& c) {
                return a.position.x < c.position.x;
            });
            widest = std::max(widest, static_cast<double>(hi->position.x - lo->position.x));
        }
        EXPECT_NEAR(widest, figure.diameter, 0.15 * figure.diameter) << figure.calibre << " " << figure.style;
    }
}

// A frame at any instant is the same whether reached by playing, by jumping
// there, backwards or on several threads: the effects gallery throughout.
TEST(Effects, ScrubbingDrawsWhatPlayingDraws)
{
    show_t show;
    std::vector<std::string> problems;
    ASSERT_TRUE(readshowfile(SHOWS "/effects.vexlor.toml", show, problems)) << problems.front();
    showtiming_t timing;
    timing.analyse(show);
    ASSERT_TRUE(timing.ends());
    std::vector<float> times;
    for (float t = 0.0f; t <= timing.end(); t += 0.1f)
        times.push_back(t);
    evaluator_t played;
    std::vector<std::vector<primitive_t>> frames(times.size());
    std::size_t drawn = 0;
    for (std::size_t i = 0; i < times.size(); ++i) {
        played.evaluate(show, times[i], frames[i], [](std::size_t, sound_t) {});
        drawn += frames[i].size();
    }
    EXPECT_GT(drawn, 10000u);
    std::vector<std::size_t> order(times.size());
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), std::mt19937(7));
    evaluator_t scrubbed, shared;
    ASSERT_TRUE(shared.setthreads(2));
    shared.reserve(100000);
    std::vector<primitive_t> points;
    for (const std::size_t i : order) {
        for (evaluator_t* evaluator : {&scrubbed, &shared}) {
            evaluator->points(show, times[i], points);
            ASSERT_EQ(points.size(), frames[i].size()) << "at " << times[i];
            if (!points.empty()) {
                EXPECT_EQ(std::memcmp(points.data(), frames[i].data(), points.size() * sizeof(primitive_t)), 0)
                    << "at " << times[i];
            }
        }
    }
}

// The show's end and busiest frame, derived from the model, know the new
// effects: the last spark (a tail, a crackle, a crossette's piece) is drawn
// just before the end and nothing after, and the busiest frame holds what the
// evaluation draws then.
TEST(Effects, TheShowsEndAndBusiestFrameCoverEveryEffect)
{
    for (const char* kind : {"willow", "crossette", "crackle", "strobe", "palm", "comet", "mine", "cake", "multibreak"}) {
        const show_t show = readshow(std::string("[[shell]]\nkind = \"") + kind + "\"\ntime = 1\n");
        showtiming_t timing;
        timing.analyse(show);
        ASSERT_TRUE(timing.ends()) << kind;
        evaluator_t evaluator;
        std::vector<primitive_t> points;
        std::size_t last = 0;
        // Strobes and crackles may be dark at one instant: look over a span.
        for (float back = 0.0f; back < 0.3f; back += 1.0f / 240.0f) {
            evaluator.points(show, timing.end() - back, points);
            last = std::max(last, points.size());
        }
        EXPECT_GT(last, 0u) << kind;
        for (const float after : {0.01f, 0.5f, 5.0f}) {
            evaluator.points(show, timing.end() + after, points);
            EXPECT_TRUE(points.empty()) << kind << " after " << after;
        }
        const busiest_t busiest = timing.busiest(show);
        std::size_t most = 0;
        const float last_t = timing.end();
        for (int k = 0; k / 60.0 <= last_t; ++k) {
            evaluator.points(show, static_cast<float>(k / 60.0), points);
            most = std::max(most, points.size());
        }
        // Strobes and crackles count while they burn, lit or not: never
        // fewer; any other effect exactly what the frame draws.
        EXPECT_GE(busiest.points, most) << kind;
        if (std::string(kind) != "strobe" && std::string(kind) != "crackle") {
            EXPECT_EQ(busiest.points, most) << kind;
            evaluator.points(show, static_cast<float>(busiest.at), points);
            EXPECT_EQ(points.size(), busiest.points) << kind;
        }
    }
}

TEST(Effects, DesignsAndEffectsAreHeldOnceHoweverManyShellsShareThem)
{
    const std::string one = "[[shell]]\nkind = \"crossette\"\ntime = 0\ncalibre = \"150mm\"\n"
                            "[[shell]]\nkind = \"willow\"\ntime = 1\ncrackle = true\n";
    const show_t few = readshow(one);
    const show_t many = readshow(one + "[[shell]]\nkind = \"crossette\"\ntime = 2\ncalibre = \"150mm\"\ncount = 500\n"
                                       "interval = 0.1\nstep = [1, 0, 0]\n");
    EXPECT_EQ(many.shells.size(), few.shells.size() + 500);
    EXPECT_EQ(many.designs.size(), few.designs.size());
    EXPECT_EQ(many.effects.size(), few.effects.size());
    EXPECT_LT(showbytes(many), showbytes(few) + 500 * 256);
}

TEST(Effects, ColourChangesAndAPistil)
{
    const show_t show = readshow("[[shell]]\nkind = \"peony\"\ntime = 0\ncolor = [\"red\", \"green\"]\npistil = \"gold\"\n"
                                 "[[shell]]\nkind = \"peony\"\ntime = 0\n");
    const std::vector<fire_t>& fires = designof(show, 0);
    const std::vector<fire_t>& plain = designof(show, 1);
    ASSERT_GT(fires.size(), plain.size());
    // A star red at first, green later.
    const fire_t& star = fires.front();
    const double burn = filmtime(star.powders[0]);
    const primitive_t early = pointsof(show, star, static_cast<float>(0.1 * burn), true).at(0);
    const primitive_t late = pointsof(show, star, static_cast<float>(0.6 * burn), true).at(0);
    EXPECT_GT(early.color.r, 2 * early.color.g);
    EXPECT_GT(late.color.g, 2 * late.color.r);
    // The pistil: an inner core of gold stars, slower than the break's.
    const fire_t& core = fires.back();
    EXPECT_LT(core.speed, 0.7f * star.speed);
    const primitive_t gold = pointsof(show, core, 0.5f, true).at(0);
    EXPECT_GT(gold.color.r, gold.color.b + 0.3f);
    EXPECT_GT(gold.color.g, gold.color.b + 0.2f);
}

TEST(Effects, SoundsByCalibreCrackleAndDistance)
{
    const show_t show = readshow("[[shell]]\nkind = \"peony\"\ntime = 0\ncalibre = \"75mm\"\n"
                                 "[[shell]]\nkind = \"peony\"\ntime = 10\ncalibre = \"150mm\"\n"
                                 "[[shell]]\nkind = \"peony\"\ntime = 20\ncalibre = \"300mm\"\n"
                                 "[[shell]]\nkind = \"crackle\"\ntime = 30\n");
    EXPECT_EQ(noteof(show, 0).burst, soundclip_t::burst);
    EXPECT_EQ(noteof(show, 1).burst, soundclip_t::deepburst);
    EXPECT_EQ(noteof(show, 2).burst, soundclip_t::deeperburst);
    std::size_t crackles = 0;
    const double crackleburst = show.shells[3].time + show.shells[3].fuse;
    for (const soundcue_t& cue : soundcues(show))
        if (cue.clip == soundclip_t::crackle) {
            ++crackles;
            EXPECT_GT(cue.time, crackleburst + 0.5);
        }
    EXPECT_EQ(crackles, 1u);
    for (const soundclip_t clip : {soundclip_t::burst, soundclip_t::deepburst, soundclip_t::deeperburst, soundclip_t::crackle})
        EXPECT_NE(soundfile(clip), nullptr);

    // Heard as late as the distance makes it: the camera 686 m from the
    // launch site hears the launch 2 s late.
    const show_t far = readshow("[camera]\nposition = [0, -686, 0]\ntarget = [0, 0, 100]\nsound = \"distance\"\n"
                                "[[shell]]\nkind = \"peony\"\ntime = 5\n");
    EXPECT_NEAR(sounddelay(far, 0, sound_t::launch), 2.0, 1e-6);
    const firework_t& shell = far.shells[0];
    const geokit::position3_t B = ballistic(shell.position, shell.velocity, shell.fuse, shell.drag);
    EXPECT_NEAR(sounddelay(far, 0, sound_t::burst), length(B.x, B.y + 686.0, B.z) / 343.0, 1e-6);
    const std::vector<soundcue_t> cues = soundcues(far);
    ASSERT_EQ(cues.size(), 2u);
    EXPECT_NEAR(cues[0].time, 7.0, 1e-5);
    // Without it, at once.
    EXPECT_EQ(sounddelay(show, 1, sound_t::burst), 0.0);
}

TEST(Effects, ACameraPlacedOrFramingTheBursts)
{
    // Placed as the file says.
    const show_t placed = readshow("[camera]\nposition = [10, -500, 2]\ntarget = [0, 0, 150]\nfov = 50\n"
                                   "[[shell]]\nkind = \"peony\"\ntime = 0\n");
    EXPECT_TRUE(placed.camera.placed);
    EXPECT_EQ(placed.camera.position.y, -500.0f);
    EXPECT_EQ(placed.camera.target.z, 150.0f);
    EXPECT_EQ(placed.camera.fov, 50.0f);
    // Framed: from the ground in front, far enough back that the whole break
    // of a 300 mm shell fits the field of view.
    const show_t framed = readshow(peony("300mm", "ball"));
    const viewpoint_t& view = framed.camera;
    EXPECT_TRUE(view.placed);
    EXPECT_LT(view.position.y, -300.0f);
    EXPECT_LT(view.position.z, 10.0f);
    const firework_t& shell = framed.shells[0];
    const geokit::position3_t B = ballistic(shell.position, shell.velocity, shell.fuse, shell.drag);
    const double half = 0.5 * view.fov * k_pi / 180.0;
    const double dx = view.target.x - view.position.x, dy = view.target.y - view.position.y,
                 dz = view.target.z - view.position.z;
    const double dl = length(dx, dy, dz);
    for (const double z : {0.0, B.z - 155.0, B.z + 155.0}) {
        const double px = B.x - view.position.x, py = B.y - view.position.y, pz = z - view.position.z;
        const double c = (px * dx + py * dy + pz * dz) / (dl * length(px, py, pz));
        EXPECT_LT(std::acos(c), half) << "at height " << z;
    }
    // The built-in kinds keep the described camera.
    const show_t classic = readshow("[[shell]]\nkind = \"susuki\"\ntime = 0\n[[shell]]\nkind = \"simple\"\ntime = 1\n"
                                    "[camera]\nsound = \"distance\"\n");
    EXPECT_FALSE(classic.camera.placed);
    // And draw as before: plain stars, no effects, the classic sounds.
    EXPECT_TRUE(classic.effects.empty());
    for (const std::vector<fire_t>& design : classic.designs)
        for (const fire_t& fire : design)
            EXPECT_EQ(fire.effect, 0u);
    for (std::size_t i = 0; i < classic.shells.size(); ++i) {
        EXPECT_EQ(noteof(classic, i).launch, soundclip_t::burst);
        EXPECT_EQ(noteof(classic, i).burst, soundclip_t::burst);
    }
}

// Bad input: one line with the position, naming what is allowed.
TEST(Effects, BadInputNamesWhatIsAllowed)
{
    const struct {
        const char* text;
        const char* problem;
    } cases[] = {
        {"[[shell]]\nkind = \"peony\"\ntime = 0\ncolor = \"mauve\"\n", "4:9: unknown colour \"mauve\""},
        {"[[shell]]\nkind = \"peony\"\ntime = 0\nstyle = \"cube\"\n", "4:9: unknown style"},
        {"[[shell]]\nkind = \"peony\"\ntime = 0\ncalibre = \"3 furlongs\"\n", "4:11:"},
        {"[[shell]]\nkind = \"peony\"\ntime = 0\ncalibre = \"5mm\"\n", "4:11:"},
        {"[[shell]]\nkind = \"peony\"\ntime = 0\ntilt = 10\n", "4:1:"},
        {"[[shell]]\nkind = \"strobe\"\ntime = 0\nstrobe = 100\n", "4:10:"},
        {"[[shell]]\nkind = \"cake\"\ntime = 0\nshot = \"mine\"\n", "4:8:"},
        {"[[shell]]\nkind = \"multibreak\"\ntime = 0\nbreaks = [\"peony\", \"cake\"]\n", "4:"},
        {"[[shell]]\nkind = \"willowy\"\ntime = 0\n", "2:8: unknown kind \"willowy\""},
        {"[camera]\nfov = 500\n[[shell]]\nkind = \"peony\"\ntime = 0\n", "2:7:"},
    };
    for (const auto& c : cases) {
        const std::string problem = problemof(c.text);
        EXPECT_EQ(problem.rfind(c.problem, 0), 0u) << c.text << " gave: " << problem;
    }
    // Naming what is allowed.
    EXPECT_NE(problemof(cases[0].text).find("gold"), std::string::npos);
    EXPECT_NE(problemof(cases[1].text).find("cylinder"), std::string::npos);
    EXPECT_NE(problemof(cases[4].text).find("takes kind, time"), std::string::npos);
    EXPECT_NE(problemof(cases[4].text).find("calibre"), std::string::npos);
    EXPECT_NE(problemof(cases[5].text).find("30"), std::string::npos);
    EXPECT_NE(problemof(cases[8].text).find("crossette"), std::string::npos);
}
