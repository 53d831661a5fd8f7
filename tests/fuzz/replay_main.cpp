// Feeds files to a fuzz target's entry point, without libFuzzer: each
// argument is a file or a directory of files, replayed in name order. A
// finding aborts inside the target; an argument that gives no input fails.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    std::size_t runs = 0;
    for (int i = 1; i < argc; ++i) {
        std::vector<fs::path> files;
        std::error_code error;
        if (fs::is_directory(argv[i], error)) {
            for (const auto& entry : fs::directory_iterator(argv[i], error)) files.push_back(entry.path());
        } else {
            files.push_back(argv[i]);
        }
        std::sort(files.begin(), files.end());
        for (const auto& file : files) {
            std::ifstream in(file, std::ios::binary);
            if (!in) {
                std::fprintf(stderr, "cannot read %s\n", file.c_str());
                return 1;
            }
            const std::vector<char> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
            ++runs;
        }
    }
    std::printf("%zu inputs replayed\n", runs);
    return runs != 0 ? 0 : 1;
}
