// A temporary directory per test for the writers' files, and their contents.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "test_support.hpp"

class ViewerFiles : public ::testing::Test {
protected:
    void SetUp() override {
        std::string name = (std::filesystem::temp_directory_path() / "cellworks-viewers-XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        dir = name;
    }
    void TearDown() override { std::filesystem::remove_all(dir); }
    std::string path(const char* name = "out") const { return (dir / name).string(); }
    bool exists(const char* name = "out") const { return std::filesystem::exists(dir / name); }
    // The file's bytes; "" when it is missing.
    std::string text(const char* name = "out") const {
        std::ifstream in(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    std::filesystem::path dir;
};
