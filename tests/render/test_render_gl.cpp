// The renderers drawing into a 64 x 64 RGBA framebuffer of a real context
// (Mesa under Xvfb), read back pixel by pixel.
#include "render/compare.h"
#include "render/draw.h"
#include "render/frame.h"
#include "render/pgmshdr.h"
#include "render/texture.h"

#include <epoxy/gl.h>

#include "tests/support/glcontext.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

namespace {

using vexlor::primitive_t;

constexpr int k_side = 64;

struct rgba {
    int r, g, b, a;
};

class RenderGl : public ::testing::Test {
protected:
    static void SetUpTestSuite() { s_ctx = new testsupport::glcontext(); }
    static void TearDownTestSuite() { delete s_ctx; }

    void SetUp() override
    {
        ASSERT_TRUE(s_ctx->ok()) << "no GL context (is DISPLAY set?)";
        glGenTextures(1, &m_target);
        glBindTexture(GL_TEXTURE_2D, m_target);
        glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, k_side, k_side, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                     nullptr);
        glBindTexture(GL_TEXTURE_2D, 0);
        glGenFramebuffers(1, &m_fbo);
        glBindFramebuffer(GL_FRAMEBUFFER, m_fbo);
        glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, m_target, 0);
        ASSERT_EQ(glCheckFramebufferStatus(GL_FRAMEBUFFER),
                  static_cast<GLenum>(GL_FRAMEBUFFER_COMPLETE));
        glViewport(0, 0, k_side, k_side);
        glClearColor(0, 0, 0, 0);
        glClear(GL_COLOR_BUFFER_BIT);
        while (glGetError() != GL_NO_ERROR) {}
    }

    void TearDown() override
    {
        glBindFramebuffer(GL_FRAMEBUFFER, 0);
        glDeleteFramebuffers(1, &m_fbo);
        glDeleteTextures(1, &m_target);
    }

    static rgba pixel(int x, int y)
    {
        std::array<unsigned char, 4> p{};
        glReadPixels(x, y, 1, 1, GL_RGBA, GL_UNSIGNED_BYTE, p.data());
        return {p[0], p[1], p[2], p[3]};
    }

    static testsupport::glcontext* s_ctx;
    GLuint m_fbo = 0;
    GLuint m_target = 0;
};
testsupport::glcontext* RenderGl::s_ctx = nullptr;

// Frustum l = -1, r = 1, b = -1, t = 1, n = 1, f = 100: a point 10 units in
// front of the eye with size 160 spans 160 / 10 = 16 normalised units, which
// the vertex shader uses as its size in pixels.
geokit::matrix3w_t testprojection()
{
    return geokit::getPerspectiveMatrix(geokit::projection_t{-1, 1, -1, 1, 1, 100});
}

primitive_t point(float x, float y, float z, float size, float r, float g, float b)
{
    return primitive_t{{x, y, z}, size, {r, g, b, 1.0f}};
}

TEST_F(RenderGl, ProgramIsSharedByReferenceCount)
{
    const char vs[] = "#version 330\nvoid main() { gl_Position = vec4(0.0); }\n";
    const char fs[] = "#version 330\nout vec4 c;\nvoid main() { c = vec4(1.0); }\n";
    vexlor::gl_program_t program;
    EXPECT_TRUE(program.Init(vs, sizeof(vs) - 1, fs, sizeof(fs) - 1));
    EXPECT_FALSE(program.Init(vs, sizeof(vs) - 1, fs, sizeof(fs) - 1));
    EXPECT_EQ(program.refcount(), 2u);
    const GLuint name = program.program();
    ASSERT_TRUE(glIsProgram(name));
    program.Destroy();
    EXPECT_TRUE(glIsProgram(name)) << "one reference left";
    program.Destroy();
    EXPECT_FALSE(glIsProgram(name));
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

TEST_F(RenderGl, CompileAndLinkFailuresPrintTheDriversLog)
{
    // The length is honoured: the text after it would not compile.
    const char good[] = "#version 330\nvoid main() { gl_Position = vec4(0.0); }\n garbage";
    testing::internal::CaptureStderr();
    glDeleteShader(vexlor::InitShader(GL_VERTEX_SHADER, good, sizeof(good) - 1 - 8));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    const char broken[] = "#version 330\nvoid main() { gl_Position = nonsense; }\n";
    testing::internal::CaptureStderr();
    const GLuint bad = vexlor::InitShader(GL_VERTEX_SHADER, broken, sizeof(broken) - 1);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_NE(bad, 0u) << "the name is returned even on failure";
    EXPECT_EQ(log.rfind("shader compile error.\n", 0), 0u) << log;
    EXPECT_GT(log.size(), 25u) << "the driver's log is missing";

    // A vertex stage without main fails to link.
    const char nomain[] = "#version 330\nvoid helper() {}\n";
    const GLuint vs = vexlor::InitShader(GL_VERTEX_SHADER, nomain, sizeof(nomain) - 1);
    testing::internal::CaptureStderr();
    glDeleteProgram(vexlor::InitProgram(1, &vs));
    EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("program link error.\n", 0), 0u);
    glDeleteShader(vs);
    glDeleteShader(bad);
    EXPECT_TRUE(vexlor::shaderfailed()) << "the viewer would start and draw nothing";
}

// The frame's error line for a code GLU has no text for (GL_CONTEXT_LOST):
// named, and standard error keeps working for every later line.
TEST_F(RenderGl, ErrorLinesNeverSilenceStandardError)
{
    testing::internal::CaptureStderr();
    vexlor::reportglerror(GL_CONTEXT_LOST);
    std::cerr << std::dec << "and then " << 42 << std::endl;
    const bool good = std::cerr.good();
    std::cerr.clear();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "error: 507 context lost\nand then 42\n");
    EXPECT_TRUE(good);
}

// A program object tells whether it was built; an invalid fragment shader
// fails the build, a later good one on a fresh object does not.
TEST_F(RenderGl, ProgramTellsWhetherItWasBuilt)
{
    const char vs[] = "#version 330\nvoid main() { gl_Position = vec4(0.0); }\n";
    const char fs[] = "#version 330\nout vec4 c;\nvoid main() { c = vec4(1.0); }\n";
    const char badfs[] = "#version 330\nout vec4 c;\nvoid main() { c = 1.0 +; }\n";
    vexlor::gl_program_t good, bad;
    EXPECT_TRUE(good.Init(vs, sizeof(vs) - 1, fs, sizeof(fs) - 1));
    EXPECT_TRUE(good.ok());
    testing::internal::CaptureStderr();
    EXPECT_TRUE(bad.Init(vs, sizeof(vs) - 1, badfs, sizeof(badfs) - 1));
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_FALSE(bad.ok());
    EXPECT_EQ(log.rfind("shader compile error.\n", 0), 0u) << log;
    EXPECT_NE(log.find("program link error.\n"), std::string::npos) << log;
    good.Destroy();
    bad.Destroy();
    EXPECT_FALSE(good.ok());
}

TEST_F(RenderGl, PointSpriteSizeColourAndMaximumBlend)
{
    vexlor::draw_t draw;
    draw.Init(8);
    draw.Init(8); // idempotent
    ASSERT_TRUE(draw.initialised());

    glEnable(GL_BLEND);
    glBlendEquation(GL_MAX);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE);

    // Nothing uploaded, nothing drawn.
    draw.Update(nullptr, 0);
    draw.Draw(0, geokit::Imtx, testprojection());
    EXPECT_EQ(pixel(32, 32).r, 0);

    // Two points in the same place: red, then a dimmer green; the maximum
    // keeps the red and takes the green.
    const primitive_t pts[] = {point(0, 0, -10, 160, 1.0f, 0.0f, 0.0f),
                               point(0, 0, -10, 160, 0.5f, 0.5f, 0.0f)};
    draw.Update(pts, 2);
    draw.Update(pts, 2); // a second upload must still reach the buffer
    draw.Draw(2, geokit::Imtx, testprojection());
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));

    const rgba centre = pixel(32, 32);
    EXPECT_EQ(centre.r, 255);
    EXPECT_NEAR(centre.g, 128, 1);
    EXPECT_EQ(centre.b, 0);
    EXPECT_GT(centre.a, 200) << "the sprite is opaque in its middle";

    // The sprite covers 16 pixels across, centred, as a round dot whose
    // brightness falls from the centre to the rim; the corners of its square
    // stay background.
    int covered = 0;
    for (int x = 0; x < k_side; ++x) covered += pixel(x, 32).r > 0 ? 1 : 0;
    EXPECT_EQ(covered, 16);
    EXPECT_EQ(pixel(32 - 9, 32).r, 0);
    EXPECT_EQ(pixel(32 + 9, 32).r, 0);
    for (int x = 32; x < 32 + 7; ++x) EXPECT_GT(pixel(x, 32).r, pixel(x + 1, 32).r) << x;
    EXPECT_LT(pixel(32 + 6, 32).r, 180) << "no flat square of full colour";
    for (const auto& [x, y] : {std::pair{24, 24}, {39, 24}, {24, 39}, {39, 39}, {25, 25}})
        EXPECT_EQ(pixel(x, y).r, 0) << "corner " << x << "," << y;
    // Round: as bright along the diagonal as along the axis at the same distance.
    EXPECT_NEAR(pixel(32 + 4, 32 + 4).r, pixel(32 + 6, 32).r, 12);

    // A point twice as far away is half as large.
    glClear(GL_COLOR_BUFFER_BIT);
    const primitive_t far[] = {point(0, 0, -20, 160, 0.0f, 0.0f, 1.0f)};
    draw.Update(far, 1);
    draw.Draw(1, geokit::Imtx, testprojection());
    covered = 0;
    for (int x = 0; x < k_side; ++x) covered += pixel(x, 32).b > 0 ? 1 : 0;
    EXPECT_EQ(covered, 8);
    EXPECT_EQ(pixel(32, 32).b, 255);

    // The modelview's translation row moves it: x = 5 at distance 20 is 5/20
    // of the half width, 8 pixels right of the centre.
    glClear(GL_COLOR_BUFFER_BIT);
    geokit::matrix3w_t move = geokit::Imtx;
    move.m[12] = 5.0f;
    draw.Draw(1, move, testprojection());
    EXPECT_EQ(pixel(32 + 8, 32).b, 255);
    EXPECT_EQ(pixel(32 - 5, 32).b, 0);

    draw.Destroy();
    draw.Destroy();
    EXPECT_FALSE(draw.initialised());
    glDisable(GL_BLEND);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
}

TEST_F(RenderGl, OnePixelSparksKeepTheirFullColourWhereverTheyFall)
{
    vexlor::draw_t draw;
    draw.Init(16);
    glEnable(GL_BLEND);
    glBlendEquation(GL_MAX);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE);

    // Sizes of a pixel and less, at the pixel's centre, near its edges and its
    // corner: the smallest mipmap is the disc's average, about half, and must
    // not dim them.
    std::vector<primitive_t> sparks;
    const float sizes[] = {0.2f, 0.5f, 0.9f};
    const float offsets[] = {0.5f, 0.05f, 0.95f};
    int column = 4;
    for (float size : sizes) {
        for (float offset : offsets) {
            // Pixel x covers x to x + 1 of 64 in normalised units of 2/64 each.
            const float ndc = (column + offset) / 32.0f - 1.0f;
            sparks.push_back(point(ndc * 10, (20 + offset) / 32.0f * 10 - 10, -10, size / 16.0f * 10,
                                   0.8f, 0.4f, 0.2f));
            column += 6;
        }
    }
    draw.Update(sparks.data(), sparks.size());
    draw.Draw(sparks.size(), geokit::Imtx, testprojection());
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    column = 4;
    for (std::size_t i = 0; i < sparks.size(); ++i, column += 6) {
        const rgba got = pixel(column, 20);
        EXPECT_EQ(got.r, 204) << "spark " << i;
        EXPECT_EQ(got.g, 102) << "spark " << i;
        EXPECT_EQ(got.b, 51) << "spark " << i;
        EXPECT_EQ(pixel(column + 1, 20).r + pixel(column, 21).r, 0) << "one pixel only, spark " << i;
    }
    draw.Destroy();
    glDisable(GL_BLEND);
}

TEST_F(RenderGl, TexturePassCoversTheViewportTexelForTexel)
{
    const unsigned char texels[] = {
        255, 0,   0,   255, /**/ 0,   255, 0,   255, // bottom row: red, green
        0,   0,   255, 255, /**/ 255, 255, 255, 255, // top row: blue, white
    };
    GLuint tex = 0;
    glGenTextures(1, &tex);
    glBindTexture(GL_TEXTURE_2D, tex);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, 2, 2, 0, GL_RGBA, GL_UNSIGNED_BYTE, texels);
    glBindTexture(GL_TEXTURE_2D, 0);

    vexlor::texture_t pass;
    pass.Init();
    pass.Draw(tex);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));

    // Texel rows start at the bottom, as glReadPixels does; nearest filtering
    // gives no blend at the middle line.
    const struct {
        int x, y, r, g, b;
    } cases[] = {{1, 1, 255, 0, 0},     {31, 1, 255, 0, 0},   {32, 1, 0, 255, 0},
                 {62, 1, 0, 255, 0},    {1, 62, 0, 0, 255},   {62, 62, 255, 255, 255}};
    for (const auto& c : cases) {
        const rgba got = pixel(c.x, c.y);
        EXPECT_EQ(got.r, c.r) << c.x << "," << c.y;
        EXPECT_EQ(got.g, c.g) << c.x << "," << c.y;
        EXPECT_EQ(got.b, c.b) << c.x << "," << c.y;
    }
    pass.Destroy();
    glDeleteTextures(1, &tex);
}

geokit::image2d_t makeimage(int width, unsigned height, const std::vector<unsigned char>& rgb)
{
    geokit::image2d_t image{};
    image.pixels.load(rgb.size());
    std::memcpy(image.pixels.begin(), rgb.data(), rgb.size());
    image.width = width;
    image.height = height;
    return image;
}

TEST_F(RenderGl, ComparePassKeepsTheLargerOfEachChannel)
{
    // 3 x 2 images: rows of 9 bytes, not a multiple of 4.
    const geokit::image2d_t one = makeimage(3, 2,
                                            {10, 200, 30, 255, 0, 0, 0, 0, 0, //
                                             1, 2, 3, 90, 90, 90, 0, 0, 200});
    const geokit::image2d_t two = makeimage(3, 2,
                                            {20, 100, 30, 0, 255, 0, 1, 2, 3, //
                                             3, 2, 1, 80, 100, 70, 0, 201, 0});
    vexlor::compare_t pass;
    pass.Init();
    pass.Draw(one, two);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));

    // Texel column c spans x from 64 * c / 3; row r spans y from 32 * r.
    const struct {
        int x, y;
        rgba want;
    } cases[] = {
        {5, 5, {20, 200, 30, 255}},   {32, 5, {255, 255, 0, 255}},  {58, 5, {1, 2, 3, 255}},
        {5, 58, {3, 2, 3, 255}},      {32, 58, {90, 100, 90, 255}}, {58, 58, {0, 201, 200, 255}},
    };
    for (const auto& c : cases) {
        const rgba got = pixel(c.x, c.y);
        EXPECT_EQ(got.r, c.want.r) << c.x << "," << c.y;
        EXPECT_EQ(got.g, c.want.g) << c.x << "," << c.y;
        EXPECT_EQ(got.b, c.want.b) << c.x << "," << c.y;
        EXPECT_EQ(got.a, c.want.a) << c.x << "," << c.y;
    }
    pass.Destroy();
}

} // namespace
