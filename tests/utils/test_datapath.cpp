// The data-file lookup every program uses for the burst sound: the working
// directory first, then beside the executable.
#include "utils/datapath.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

class DataPath : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_old = fs::current_path();
        m_dir = fs::temp_directory_path() / ("vexlor-datapath-" + std::to_string(getpid()));
        fs::create_directories(m_dir);
        fs::current_path(m_dir);
    }
    void TearDown() override
    {
        fs::current_path(m_old);
        fs::remove_all(m_dir);
        if (!m_beside.empty()) fs::remove(m_beside);
    }
    fs::path m_old, m_dir, m_beside;
};

TEST_F(DataPath, WorkingDirectoryFirstThenBesideTheExecutable)
{
    const std::string name = "vexlor-test-" + std::to_string(getpid()) + ".wav";
    EXPECT_EQ(basekit::finddata(name, "/nowhere/vexlor"), name) << "missing everywhere";

    m_beside = fs::read_symlink("/proc/self/exe").parent_path() / name;
    std::ofstream(m_beside) << "x";
    EXPECT_EQ(basekit::finddata(name, "vexlor"), m_beside.string());

    std::ofstream(name) << "x";
    EXPECT_EQ(basekit::finddata(name, "vexlor"), name) << "the working directory wins";

    // A directory of that name is not a data file.
    fs::remove(name);
    fs::create_directory(name);
    EXPECT_EQ(basekit::finddata(name, "vexlor"), m_beside.string());
}

} // namespace
