// The GL loader and error reporter against a real context (Mesa under Xvfb).
#include "glload/glextloader.h"
#include "glload/grerror.h"

#include <epoxy/gl.h>
#include <GL/glu.h>

#include "tests/support/glcontext.h"

#include <gtest/gtest.h>

#include <iostream>
#include <string>

namespace {

class GlLoad : public ::testing::Test {
protected:
    static void SetUpTestSuite() { s_ctx = new testsupport::glcontext(); }
    static void TearDownTestSuite() { delete s_ctx; }
    void SetUp() override { ASSERT_TRUE(s_ctx->ok()) << "no GL context (is DISPLAY set?)"; }
    static testsupport::glcontext* s_ctx;
};
testsupport::glcontext* GlLoad::s_ctx = nullptr;

TEST_F(GlLoad, RecordsVersionsUpToTheContextsOwn)
{
    const int version = glload::gl_extloader_init();
    int major = 0, minor = 0;
    glGetIntegerv(GL_MAJOR_VERSION, &major);
    glGetIntegerv(GL_MINOR_VERSION, &minor);
    ASSERT_EQ(version, major * 10 + minor);
    ASSERT_GE(version, 33) << "the renderers need GL 3.3";

    EXPECT_TRUE(glload::gl_offers("GL_VERSION_1_2"));
    EXPECT_TRUE(glload::gl_offers("GL_VERSION_3_3"));
    const std::string own = "GL_VERSION_" + std::to_string(major) + "_" + std::to_string(minor);
    EXPECT_TRUE(glload::gl_offers(own.c_str()));
    const std::string next = "GL_VERSION_" + std::to_string(major) + "_" + std::to_string(minor + 1);
    EXPECT_FALSE(glload::gl_offers(next.c_str()));
    EXPECT_FALSE(glload::gl_offers("GL_VERSION_1_1")) << "1.1 needs no loading";
    EXPECT_FALSE(glload::gl_offers(nullptr));

    // Extensions are recorded as the context names them.
    GLint count = 0;
    glGetIntegerv(GL_NUM_EXTENSIONS, &count);
    ASSERT_GT(count, 0);
    const auto first = reinterpret_cast<const char*>(glGetStringi(GL_EXTENSIONS, 0));
    EXPECT_TRUE(glload::gl_offers(first));
    EXPECT_FALSE(glload::gl_offers("GL_NO_SUCH_extension"));
    EXPECT_GE(glload::gl_offered_count(), static_cast<std::size_t>(count));
}

TEST_F(GlLoad, KnowsWhetherAContextIsCurrent)
{
    EXPECT_TRUE(glload::gl_context_current());
    glfwMakeContextCurrent(nullptr);
    EXPECT_FALSE(glload::gl_context_current());
    glfwMakeContextCurrent(s_ctx->window());
    EXPECT_TRUE(glload::gl_context_current());
}

TEST_F(GlLoad, PrintErrorReportsOnePendingErrorOnly)
{
    while (glGetError() != GL_NO_ERROR) {}
    const std::string text = reinterpret_cast<const char*>(gluErrorString(GL_INVALID_ENUM));

    testing::internal::CaptureStderr();
    EXPECT_EQ(geokit::grPrintError("quiet"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    glEnable(0xFFFF); // not a capability: GL_INVALID_ENUM (1280)
    std::cerr << std::hex;
    testing::internal::CaptureStderr();
    EXPECT_EQ(geokit::grPrintError("display(9)"), 1);
    const std::string line = testing::internal::GetCapturedStderr();
    std::cerr << std::dec;
    EXPECT_EQ(line, "display(9): Error 1280: " + text + "\n");

    // The error was consumed: a second call finds none.
    testing::internal::CaptureStderr();
    EXPECT_EQ(geokit::grPrintError(nullptr), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    glBindBuffer(0xFFFF, 0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(geokit::grPrintError(nullptr), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error 1280: " + text + "\n");
}

// GLU has no text for GL_CONTEXT_LOST, the error a reset driver leaves: the
// report names it all the same and later lines still reach standard error.
TEST_F(GlLoad, ACodeWithoutAGluTextLeavesTheStreamWorking)
{
    ASSERT_EQ(gluErrorString(GL_CONTEXT_LOST), nullptr) << "GLU learnt the code; pick another it does not know";
    testing::internal::CaptureStderr();
    geokit::grPrintErrorCode("display(9)", GL_CONTEXT_LOST);
    geokit::grPrintErrorCode(nullptr, 0x1234);
    std::cerr << "a later line" << std::endl;
    const bool good = std::cerr.good();
    std::cerr.clear();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "display(9): Error 1287: context lost\nError 4660: unknown error\na later line\n");
    EXPECT_TRUE(good);
    EXPECT_STREQ(geokit::glerrortext(GL_INVALID_VALUE), reinterpret_cast<const char*>(gluErrorString(GL_INVALID_VALUE)));
}

} // namespace
