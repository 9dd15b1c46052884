// A fresh directory under /tmp for one test, removed with everything in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

struct tempdir {
    std::string path;
    tempdir()
    {
        char pattern[] = "/tmp/firework-XXXXXX";
        path = mkdtemp(pattern) ? pattern : "/nonexistent";
    }
    ~tempdir() { std::filesystem::remove_all(path); }
    tempdir(const tempdir&) = delete;
    tempdir& operator=(const tempdir&) = delete;

    // Writes `bytes` to the file `name` and returns its full path.
    std::string write(const std::string& name, const std::string& bytes) const
    {
        std::ofstream(path + "/" + name, std::ios::binary) << bytes;
        return path + "/" + name;
    }

    static std::string read(const std::string& file)
    {
        std::ifstream is(file, std::ios::binary);
        return {std::istreambuf_iterator<char>(is), std::istreambuf_iterator<char>()};
    }
};
