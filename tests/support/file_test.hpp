// A fixture for the tests of file readers and writers: each test's files in a
// folder of its own, removed at its end; `out` + extension is the default
// file, `put` writes an input file, `text` reads the default file back.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace cwtest {

class file_test : public ::testing::Test {
public:
    file_test(const char* format, const char* extension)
        : dir(std::filesystem::temp_directory_path() /
              ("cellworks-" + std::string(format) + "-" + std::to_string(getpid()))),
          extension_(extension) {}
    void SetUp() override { std::filesystem::create_directories(dir); }
    void TearDown() override { std::filesystem::remove_all(dir); }
    std::string path(const std::string& name = "") const {
        return (dir / (name.empty() ? "out" + extension_ : name)).string();
    }
    std::string put(const std::string& bytes) const {
        const std::string in = path("in" + extension_);
        std::ofstream(in, std::ios::binary) << bytes;
        return in;
    }
    std::string text() const {
        std::ifstream in(path(), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }

    const std::filesystem::path dir;

private:
    std::string extension_;
};

}  // namespace cwtest
