// Runs a fuzzer over files and directories of files instead of under libFuzzer.

#include "fuzz/harness.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

void replay(const std::filesystem::path& file) {
    std::ifstream stream{file, std::ios::binary};
    fuzz::require(stream.is_open(), "the file can be read");
    const std::string content{std::istreambuf_iterator<char>{stream}, {}};
    // A copy of exactly that size on the heap lets the address sanitizer see a read past the end.
    const std::vector<std::uint8_t> bytes{content.begin(), content.end()};
    std::printf("%s\n", file.c_str());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        if (std::filesystem::is_directory(argv[i])) {
            for (const auto& entry : std::filesystem::directory_iterator{argv[i]}) {
                files.push_back(entry.path());
            }
        } else {
            files.emplace_back(argv[i]);
        }
    }
    if (files.empty()) {
        std::fprintf(stderr, "usage: %s FILE-OR-DIRECTORY...\nNothing to replay.\n", argv[0]);
        return 2;
    }
    for (const auto& file : files) {
        replay(file);
    }
    return 0;
}
