// The plain-program form of a fuzz target, for builds without libFuzzer: runs every file named on
// the command line (folders: every file in them) through the target once, as ctest does with the
// regression corpus in fuzz/corpus/<target>. A finding aborts, so the run fails.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        std::error_code ec;
        if (std::filesystem::is_directory(argv[i], ec)) {
            for (const auto& e : std::filesystem::directory_iterator(argv[i], ec))
                if (e.is_regular_file())
                    files.push_back(e.path());
        } else {
            files.emplace_back(argv[i]);
        }
    }
    std::sort(files.begin(), files.end());
    if (files.empty()) {
        std::fprintf(stderr, "usage: %s FILE|FOLDER...  (no inputs found)\n", argv[0]);
        return 2;
    }
    for (const auto& f : files) {
        std::ifstream in(f, std::ios::binary);
        const std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (!in.eof() && !in) {
            std::fprintf(stderr, "cannot read %s\n", f.c_str());
            return 1;
        }
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::printf("%zu inputs ran\n", files.size());
    return 0;
}
