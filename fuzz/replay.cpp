// SPDX-License-Identifier: MIT
// A main for the fuzz targets without the fuzzer: runs every named file, and every file of every
// named folder, through the target, each one also cut short at every length up to a limit.
//   fuzz_TARGET PATH...      exit 0 when all ran, 2 when there was nothing to run
#include "fuzzInput.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace {

namespace fs = std::filesystem;

/// Files longer than this are only run whole.
constexpr std::size_t kMostLengths = 4096;

std::vector<fs::path> filesOf(const fs::path& path) {
    if (!fs::is_directory(path)) {
        return {path};
    }
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

void replay(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
    const std::size_t shortest = bytes.size() <= kMostLengths ? 0 : bytes.size();
    for (std::size_t size = shortest; size <= bytes.size(); ++size) {
        // A copy of exactly this size, so that a read past its end is a read past the allocation.
        const std::vector<std::uint8_t> input(bytes.begin(),
                                              bytes.begin() + static_cast<std::ptrdiff_t>(size));
        LLVMFuzzerTestOneInput(input.data(), input.size());
    }
    std::printf("%s: %zu bytes\n", path.c_str(), bytes.size());
}

} // namespace

int main(int argc, char** argv) {
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const fs::path& path : filesOf(argv[i])) {
            replay(path);
            ++count;
        }
    }
    std::printf("%zu inputs replayed\n", count);
    return count > 0 ? 0 : 2;
}
