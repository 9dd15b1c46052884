// The smoke model: puffs appear after a break and not before, drift with the
// wind at its speed, spread and thin out over tens of seconds, are lit by a
// burst near them and dark when none is, and any instant is the same however
// it is reached.
#include "firework/ballistic.h"
#include "firework/sample.h"
#include "firework/smoke.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

using namespace vexlor;

namespace {

// A shell straight up from `x`, launched at `time`, bursting 2 s later into
// 12 stars whose carrier glows `glow` seconds in `color`.
firework_t shell(float time, float x, float glow, geokit::color3a_t color)
{
    firework_t f;
    f.time = time;
    f.position = {x, 0.0f, 1000.0f};
    f.velocity = {0.0f, 0.0f, 20.0f};
    f.fuse = 2.0f;
    f.size = 10.0f;
    f.drag = 0.95f;
    f.color = {1, 1, 1, 1};
    for (int k = 0; k < 12; ++k) {
        const float a = 0.5235988f * static_cast<float>(k);
        f.fires.push_back({{std::cos(a), 0.0f, std::sin(a)}, 12.0f, {{0.0f, 20.0f, 0.9f, {{glow, color, color}}}}});
    }
    return f;
}

struct sums_t {
    std::size_t count = 0;
    double x = 0, y = 0, z = 0, diameter = 0, opacity = 0, light = 0;
};

// Means of position, diameter and light; the total opacity.
sums_t measure(const std::vector<primitive_t>& puffs)
{
    sums_t s;
    for (const primitive_t& p : puffs) {
        s.x += p.position.x;
        s.y += p.position.y;
        s.z += p.position.z;
        s.diameter += p.pointsize;
        s.opacity += p.color.a;
        s.light += p.color.r + p.color.g + p.color.b;
    }
    s.count = puffs.size();
    if (s.count > 0) {
        s.x /= s.count;
        s.y /= s.count;
        s.z /= s.count;
        s.diameter /= s.count;
        s.light /= s.count;
    }
    return s;
}

std::vector<primitive_t> at(smoke_t& smoke, const show_t& show, float t)
{
    std::vector<primitive_t> puffs;
    smoke.evaluate(show, t, puffs);
    return puffs;
}

TEST(Smoke, AppearsAfterTheBreakAroundItsPoint)
{
    show_t show = sharescene({shell(0.0f, 0.0f, 3.0f, {1, 1, 1, 1})});
    smoke_t smoke;
    smoke.prepare(show, {0, 0, 0});
    EXPECT_TRUE(at(smoke, show, 1.0f).empty()) << "rising: no smoke yet";
    EXPECT_TRUE(at(smoke, show, 2.0f).empty()) << "the shell bursts strictly after its fuse";
    const std::vector<primitive_t> fresh = at(smoke, show, 2.05f);
    ASSERT_EQ(fresh.size(), smoke_t::k_puffsperburst);
    const firework_t& f = show.shells[0];
    const geokit::position3_t burst = ballistic(f.position, f.velocity, f.fuse, f.drag);
    for (const primitive_t& p : fresh) {
        const float d = std::hypot(p.position.x - burst.x, p.position.y - burst.y, p.position.z - burst.z);
        EXPECT_LT(d, 1.0f) << "thrown out from the break";
        EXPECT_GT(p.color.a, 0.0f);
        EXPECT_GT(p.pointsize, 0.0f);
    }
    // A shell with no stars never breaks: no smoke.
    firework_t dud = shell(0.0f, 0.0f, 3.0f, {1, 1, 1, 1});
    dud.fires.clear();
    show_t duds = sharescene({dud});
    smoke_t none;
    none.prepare(duds, {0, 0, 0});
    EXPECT_TRUE(at(none, duds, 5.0f).empty());
    // Not prepared for this show: nothing, rather than a wrong index.
    EXPECT_TRUE(at(none, show, 5.0f).empty());
}

TEST(Smoke, DriftsWithTheWindSpreadsAndFadesOverTensOfSeconds)
{
    show_t show = sharescene({shell(0.0f, 0.0f, 3.0f, {1, 1, 1, 1})});
    smoke_t windy, still;
    windy.prepare(show, {4.0f, -1.0f, 0.0f});
    still.prepare(show, {0.0f, 0.0f, 0.0f});

    // Once the break has thrown it out, the smoke moves with the wind exactly.
    const sums_t a = measure(at(windy, show, 7.0f)), b = measure(at(windy, show, 12.0f));
    EXPECT_NEAR(b.x - a.x, 4.0 * 5.0, 0.05);
    EXPECT_NEAR(b.y - a.y, -1.0 * 5.0, 0.05);
    const sums_t c = measure(at(still, show, 7.0f)), d = measure(at(still, show, 12.0f));
    EXPECT_NEAR(d.x - c.x, 0.0, 0.05) << "no wind, no drift";
    EXPECT_GT(d.z, c.z) << "warm smoke rises a little";
    EXPECT_LT(d.z - c.z, 3.0);

    // It spreads and thins: larger puffs, less opacity, over tens of seconds.
    double lastdiameter = 0, lastopacity = 1e9;
    for (const float t : {3.0f, 7.0f, 12.0f, 22.0f, 32.0f, 42.0f}) {
        const sums_t s = measure(at(windy, show, t));
        ASSERT_EQ(s.count, smoke_t::k_puffsperburst) << t;
        EXPECT_GT(s.diameter, lastdiameter) << t;
        EXPECT_LT(s.opacity, lastopacity) << t;
        lastdiameter = s.diameter;
        lastopacity = s.opacity;
    }
    const double early = measure(at(windy, show, 3.0f)).opacity;
    EXPECT_GT(measure(at(windy, show, 22.0f)).opacity, early * 0.02) << "still there twenty seconds on";
    EXPECT_LT(measure(at(windy, show, 42.0f)).opacity, early * 0.1) << "mostly gone forty seconds on";
    EXPECT_TRUE(at(windy, show, 2.0f + smoke_t::k_life + 0.5f).empty());
}

// Two breaks 160 m apart: the second lights its own smoke, not the first's;
// once the stars are out the smoke is dark.
TEST(Smoke, LitByTheBurstsNearItAndDarkOtherwise)
{
    show_t show = sharescene({shell(0.0f, -80.0f, 3.0f, {1.0f, 0.4f, 0.1f, 1.0f}),
                              shell(20.0f, 80.0f, 3.0f, {0.2f, 0.5f, 1.0f, 1.0f})});
    smoke_t smoke;
    smoke.prepare(show, {0, 0, 0});
    const auto split = [&](float t, sums_t& left, sums_t& right) {
        std::vector<primitive_t> puffs = at(smoke, show, t), l, r;
        for (const primitive_t& p : puffs) (p.position.x < 0 ? l : r).push_back(p);
        left = measure(l);
        right = measure(r);
    };
    sums_t left, right;
    split(2.5f, left, right);
    ASSERT_EQ(left.count, smoke_t::k_puffsperburst);
    EXPECT_EQ(right.count, 0u);
    EXPECT_GT(left.light, 0.05) << "lit by its own burst";
    // The orange burst lights it orange.
    const std::vector<primitive_t> lit = at(smoke, show, 3.0f);
    EXPECT_GT(lit[0].color.r, 2.0f * lit[0].color.b);

    split(10.0f, left, right);
    EXPECT_EQ(left.light, 0.0) << "its stars are out: dark";
    EXPECT_GT(left.opacity, 0.0) << "but still there";

    split(22.5f, left, right);
    ASSERT_EQ(right.count, smoke_t::k_puffsperburst);
    EXPECT_GT(right.light, 0.05);
    EXPECT_LT(left.light, right.light * 0.02) << "a burst 160 m away hardly lights it";
    const std::vector<primitive_t> blue = at(smoke, show, 22.5f);
    EXPECT_GT(blue.back().color.b, blue.back().color.r) << "the blue burst lights its smoke blue";

    std::vector<burstlight_t> lights;
    smoke.lights(show, 22.5f, lights);
    ASSERT_EQ(lights.size(), 1u) << "the first burst's light is out";
    EXPECT_NEAR(lights[0].position.x, 80.0f, 1e-3f);
    EXPECT_GT(lights[0].radius, 3.0f);
}

TEST(Smoke, AnyInstantInAnyOrderIsTheSame)
{
    std::vector<firework_t> scene;
    makesusuki(scene);
    scene.push_back(shell(1.0f, 30.0f, 3.0f, {1, 1, 1, 1}));
    show_t show = sharescene(std::move(scene));
    smoke_t smoke;
    smoke.prepare(show, {2.0f, 0.0f, 0.0f});
    const std::vector<primitive_t> first = at(smoke, show, 9.25f);
    ASSERT_FALSE(first.empty());
    at(smoke, show, 30.0f);
    at(smoke, show, 0.5f);
    const std::vector<primitive_t> again = at(smoke, show, 9.25f);
    ASSERT_EQ(first.size(), again.size());
    EXPECT_EQ(std::memcmp(first.data(), again.data(), first.size() * sizeof(primitive_t)), 0);
}

// A sky full of breaks draws the smoke of the newest only, no more than it
// may, the oldest of them thinning out: shell i stands at x = i metres, so
// where a puff is tells whose it is.
TEST(Smoke, OnlyTheNewestBreaksAtMostTheOldestFading)
{
    std::vector<firework_t> scene;
    for (int i = 0; i < 400; ++i)
        scene.push_back(shell(0.1f * static_cast<float>(i), static_cast<float>(i), 1.0f, {1, 1, 1, 1}));
    show_t show = sharescene(std::move(scene));
    smoke_t smoke;
    smoke.prepare(show, {0, 0, 0});
    const std::vector<primitive_t> puffs = at(smoke, show, 45.0f);
    ASSERT_EQ(puffs.size(), smoke_t::k_mostbursts * smoke_t::k_puffsperburst);
    float least = 1e9f, most = -1e9f;
    for (const primitive_t& p : puffs) {
        least = std::min(least, p.position.x);
        most = std::max(most, p.position.x);
    }
    const float oldest = static_cast<float>(400 - smoke_t::k_mostbursts); // the oldest break kept
    EXPECT_GT(least, oldest - 6.0f);
    EXPECT_LT(least, oldest + 6.0f);
    EXPECT_GT(most, 399.0f - 6.0f) << "the newest break is there";

    // While breaks keep coming (one every 0.1 s until 41.9 s), a break's
    // smoke is kept at full weight, then thins a step with each newer break
    // until it is gone: never a jump. The puffs come shell by shell, eight
    // each, so the watched break's are found by its place among those kept.
    const std::size_t watched = 200; // breaks at 22 s
    std::vector<double> seen;
    for (int k = 0; k < 24; ++k) {
        const float t = 30.05f + 0.1f * static_cast<float>(k);
        std::size_t broken = 0;
        for (int i = 0; i < 400; ++i) broken += 0.1f * static_cast<float>(i) + 2.0f < t ? 1 : 0;
        const std::vector<primitive_t> now = at(smoke, show, t);
        ASSERT_EQ(now.size(), smoke_t::k_mostbursts * smoke_t::k_puffsperburst);
        const std::size_t firstkept = broken - smoke_t::k_mostbursts;
        double sum = 0;
        if (watched >= firstkept)
            for (std::size_t p = 0; p < smoke_t::k_puffsperburst; ++p)
                sum += now[(watched - firstkept) * smoke_t::k_puffsperburst + p].color.a;
        seen.push_back(sum);
    }
    EXPECT_GT(seen.front(), 0.0);
    EXPECT_EQ(seen.back(), 0.0) << "gone once enough newer breaks have come";
    for (std::size_t k = 1; k < seen.size(); ++k) {
        EXPECT_LE(seen[k], seen[k - 1]) << k;
        EXPECT_LT(seen[k - 1] - seen[k], 0.1 * seen.front()) << "a jump at " << k;
    }
}

} // namespace
