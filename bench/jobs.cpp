// SPDX-License-Identifier: MIT
// Whole jobs as a user runs them: `tdr convert` against the alternatives.
#include "pictures.h"
#include "rounds.h"

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/resource.h>
#include <sys/time.h>
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

/// What a command took, in seconds.
struct Taken {
    double wall = 0;
    double processor = 0; ///< with all that it has waited for
};

/// Runs a command.
Taken run(std::vector<std::string> command) {
    std::vector<char*> argv;
    argv.reserve(command.size() + 1);
    for (std::string& word : command) {
        argv.push_back(word.data());
    }
    argv.push_back(nullptr);
    posix_spawn_file_actions_t silent; // our own output is the figures
    posix_spawn_file_actions_init(&silent);
    posix_spawn_file_actions_addopen(&silent, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    int status = 0;
    rusage used{};
    Taken taken;
    taken.wall = bench::timed([&] {
        pid_t child = -1;
        if (posix_spawnp(&child, argv[0], &silent, nullptr, argv.data(), environ) != 0) {
            throw std::runtime_error("cannot start " + command[0]);
        }
        wait4(child, &status, 0, &used);
    });
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error(command[0] + " failed");
    }
    posix_spawn_file_actions_destroy(&silent);
    for (const timeval& time : {used.ru_utime, used.ru_stime}) {
        taken.processor +=
            static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    }
    return taken;
}

Contender command(const std::string& name, const std::vector<std::string>& words,
                  double Taken::*figure = &Taken::wall) {
    return {name, [words, figure] { return run(words).*figure; }};
}

constexpr auto kProcessor = &Taken::processor;

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
    run({kTdr, "convert", "-q", "--force", file("start.png"), file("a.pic")});

    compare("convert to PIC " + picture.name,
            {command("cp", {"cp", file("raw.pam"), file("copy.pam")}),
             command("ours", {kTdr, "convert", "-q", "--force", file("a.pic"), file("b.pic")}),
             command("ImageMagick SGI",
                     {kImageMagick, "-compress", "RLE", file("raw.pam"), file("b.sgi")}),
             command("ImageMagick TGA",
                     {kImageMagick, "-compress", "RLE", file("raw.pam"), file("b.tga")})},
            kRounds);
    compare("convert to PNG " + picture.name,
            {command("ImageMagick",
                     {kImageMagick, file("raw.pam"), "-define",
                      std::string("png:compression-level=") + kPngLevel, file("peer.png")}),
             command("ours", {kTdr, "convert", "-q", "--force", file("a.pic"), file("b.png")})},
            kRounds);
    compare("PIC to PNG " + picture.name,
            {command("ImageMagick",
                     {kImageMagick, file("raw.pam"), "-define",
                      std::string("png:compression-level=") + kPngLevel, file("peer.png")},
                     kProcessor),
             command("ours", {kTdr, "convert", "-q", "--force", file("a.pic"), file("b.png")},
                     kProcessor)},
            kRounds);
    compare("PNG to PIC " + picture.name,
            {command("ImageMagick",
                     {kImageMagick, "-compress", "RLE", file("b.png"), file("b.sgi")}, kProcessor),
             command("ours", {kTdr, "convert", "-q", "--force", file("b.png"), file("b.pic")},
                     kProcessor)},
            kRounds);
    bench::report("size of PNG " + picture.name, "ImageMagick",
                  static_cast<double>(fs::file_size(file("peer.png"))));
    bench::report("size of PNG " + picture.name, "ours",
                  static_cast<double>(fs::file_size(file("b.png"))));
}

/// Copies of `picture` as frames of a folder.
std::string makeFrames(const fs::path& picture, const fs::path& folder, int count) {
    fs::create_directory(folder);
    for (int frame = 1; frame <= count; ++frame) {
        fs::copy_file(picture, folder / (std::to_string(frame) + picture.extension().string()));
    }
    return folder / ("%d" + picture.extension().string());
}

/// Runs of many small pictures, and looking at them.
void measureFrames(const bench::BenchPicture& picture, const fs::path& folder) {
    const int frames = bench::small() ? 3 : 200;
    const auto file = [&](const char* name) { return (folder / name).string(); };
    writePam(file("raw.pam"), picture);
    for (const char* name : {"frame.png", "frame.sgi"}) {
        run({kImageMagick, file("raw.pam"), "-resize", "320x152!", file(name)});
    }
    run({kTdr, "convert", "-q", "--force", file("frame.png"), file("frame.pic")});
    const std::string pics = makeFrames(file("frame.pic"), file("pics"), frames);
    const std::string pngs = makeFrames(file("frame.png"), file("pngs"), frames);
    const std::string sgis = makeFrames(file("frame.sgi"), file("sgis"), frames);
    const std::string out = file("out");
    fs::create_directory(out);
    const auto all = [](std::string pattern) { return pattern.replace(pattern.find('%'), 2, "*"); };
    const auto ours = [&](const std::string& from, const std::string& to, const char* jobs) {
        return std::vector<std::string>{kTdr, "convert", "-q",      "--force", "--jobs", jobs,
                                        from, "-o",      out + "/", "--to",    to};
    };
    const auto peer = [&](const std::string& options, const std::string& from) {
        return std::vector<std::string>{
            "sh", "-c", "exec mogrify -path " + out + " " + options + " " + all(from)};
    };
    compare(
        "frames to PNG",
        {command(
             "mogrify",
             peer(std::string("-define png:compression-level=") + kPngLevel + " -format png", sgis),
             kProcessor),
         command("ours", ours(pics, "png", "1"), kProcessor)},
        kRounds);
    compare("frames to PIC",
            {command("mogrify", peer("-format sgi", pngs), kProcessor),
             command("ours", ours(pngs, "pic", "1"), kProcessor)},
            kRounds);
    compare("frames, two jobs",
            {command("one job", ours(pics, "png", "1")), command("ours", ours(pics, "png", "2"))},
            kRounds);
    std::vector<std::string> decoded = {TDR_BENCH_DIR "/decodeFiles"};
    std::vector<std::string> checked = {kTdr, "check"};
    for (int frame = 1; frame <= frames; ++frame) {
        for (auto* words : {&decoded, &checked}) {
            words->push_back(file("pics/") + std::to_string(frame) + ".pic");
        }
    }
    compare("check",
            {command("decoding", decoded, kProcessor), command("ours", checked, kProcessor)},
            kRounds);
    std::vector<std::string> shown = {kTdr, "info"};
    std::vector<std::string> pinged = {"identify", "-ping"};
    for (int i = 0; i < 5 * frames; ++i) {
        shown.push_back(file("pics/") + std::to_string(i % frames + 1) + ".pic");
        pinged.push_back(file("sgis/") + std::to_string(i % frames + 1) + ".sgi");
    }
    const std::vector<std::string> first(shown.begin(), shown.begin() + 3);
    compare("info", {command("identify", pinged, kProcessor), command("ours", shown, kProcessor)},
            kRounds);
    compare("info, first line",
            {command("all", shown, kProcessor), command("ours", first, kProcessor)}, kRounds);
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
    measureFrames(bench::pictures().front(), folder.path);
    return 0;
} catch (const std::exception& error) {
    std::cerr << "bench_jobs: " << error.what() << '\n';
    return 1;
}
