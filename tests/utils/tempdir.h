// A fresh directory under /tmp for one test, removed with everything in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

class tempdir {
public:
    tempdir()
    {
        char pattern[] = "/tmp/basekit-XXXXXX";
        if (const char* made = mkdtemp(pattern))
            m_path = made;
    }
    ~tempdir()
    {
        std::error_code ec;
        if (!m_path.empty())
            std::filesystem::remove_all(m_path, ec);
    }
    tempdir(const tempdir&) = delete;
    tempdir& operator=(const tempdir&) = delete;

    const std::string& path() const { return m_path; }

    // Writes `bytes` to the file `name` and returns its full path.
    std::string write(const std::string& name, const std::string& bytes) const
    {
        const std::string full = m_path + "/" + name;
        std::ofstream(full, std::ios::binary) << bytes;
        return full;
    }

private:
    std::string m_path;
};
