// SPDX-License-Identifier: MIT
// Whole jobs as a user runs them: `tdr convert` against the alternatives.
#include "pictures.h"
#include "rounds.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using bench::compare;
using bench::Contender;

namespace {

constexpr const char* kTdr = TDR_BIN_DIR "/tdr";
constexpr const char* kImageMagick = IMAGEMAGICK_CONVERT;

/// Compression level at which both sides write PNG.
constexpr const char* kPngLevel = "2";

constexpr int kRounds = 9;

/// Runs a command and returns its time from start to end.
double run(std::vector<std::string> command) {
    std::vector<char*> argv;
    argv.reserve(command.size() + 1);
    for (std::string& word : command) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    int status = 0;
    const double seconds = bench::timed([&] {
        pid_t child = -1;
        if (posix_spawnp(&child, argv[0], nullptr, nullptr, argv.data(), environ) != 0) {
            throw std::runtime_error("cannot start " + command[0]);
        }
        waitpid(child, &status, 0);
    });
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error(command[0] + " failed");
    }
    return seconds;
}

Contender command(const std::string& name, const std::vector<std::string>& words) {
    return {name, [words] { return run(words); }};
}

void writePam(const fs::path& path, const bench::BenchPicture& picture) {
    std::ofstream file(path, std::ios::binary);
    file << "P7\nWIDTH " << picture.width << "\nHEIGHT " << picture.height
         << "\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n";
    const std::vector<std::uint8_t> pixels = picture.interleaved();
    file.write(reinterpret_cast<const char*>(pixels.data()),
               static_cast<std::streamsize>(pixels.size()));
    if (!file.flush()) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

void measure(const bench::BenchPicture& picture, const fs::path& folder) {
    const auto file = [&](const char* name) { return (folder / name).string(); };
    writePam(file("raw.pam"), picture);
    run({kImageMagick, file("raw.pam"), file("start.png")});
    run({kTdr, "convert", "--force", file("start.png"), file("a.pic")});

    compare("convert to PIC " + picture.name,
            {command("cp", {"cp", file("raw.pam"), file("copy.pam")}),
             command("ours", {kTdr, "convert", "--force", file("a.pic"), file("b.pic")}),
             command("ImageMagick SGI",
                     {kImageMagick, "-compress", "RLE", file("raw.pam"), file("b.sgi")}),
             command("ImageMagick TGA",
                     {kImageMagick, "-compress", "RLE", file("raw.pam"), file("b.tga")})},
            kRounds);
    compare("convert to PNG " + picture.name,
            {command("ImageMagick",
                     {kImageMagick, file("raw.pam"), "-define",
                      std::string("png:compression-level=") + kPngLevel, file("peer.png")}),
             command("ours", {kTdr, "convert", "--force", file("a.pic"), file("b.png")})},
            kRounds);
}

} // namespace

int main() try {
    std::string name = (fs::temp_directory_path() / "tdr-bench-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    const struct Removed {
        fs::path path;
        ~Removed() { fs::remove_all(path); }
    } folder{name};
    for (const bench::BenchPicture& picture : bench::pictures()) {
        if (picture.group == "photograph" || bench::small()) {
            measure(picture, folder.path);
        }
    }
    return 0;
} catch (const std::exception& error) {
    std::cerr << "bench_jobs: " << error.what() << '\n';
    return 1;
}
