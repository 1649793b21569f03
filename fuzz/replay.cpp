// SPDX-License-Identifier: MIT
// A main for the fuzz targets without the fuzzer: runs every named file, and every file of every
// named folder, through the target: unchanged, cut short at every length, and with every single bit
// flipped.
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

/// Files longer than this are only run unchanged.
constexpr std::size_t kMostDamaged = 4096;

using Bytes = std::vector<std::uint8_t>;

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
    const std::string content(std::istreambuf_iterator<char>(file), {});
    Bytes bytes(content.begin(), content.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    for (std::size_t at = 0; bytes.size() <= kMostDamaged && at < bytes.size(); ++at) {
        // A copy of exactly this size, so that a read past its end is a read past the allocation.
        const Bytes cut(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
        LLVMFuzzerTestOneInput(cut.data(), cut.size());
        for (unsigned bit = 1; bit < 256; bit *= 2) {
            bytes[at] = static_cast<std::uint8_t>(bytes[at] ^ bit);
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            bytes[at] = static_cast<std::uint8_t>(bytes[at] ^ bit);
        }
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
