// SPDX-License-Identifier: MIT
// The scene toolkit: large files against reading and writing the same bytes, the memory that
// reading takes, how time grows with the size, and the evaluation of curves with more and more
// keys.
#include "pictures.h"
#include "sceneRecords.h"
#include "tinySoftType.h"

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <malloc.h>
#include <random>
#include <stdexcept>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace {

using bench::makeCurve;
using bench::OwnedScene;
using bench::OwnedSpline;
using bench::OwnedTree;

void must(bool done, const std::string& what) {
    if (!done) {
        throw std::runtime_error(what);
    }
}

/// A folder that is removed at the end.
struct Folder {
    fs::path path;
    Folder() {
        std::string made = (fs::temp_directory_path() / "tdr-bench-XXXXXX").string();
        must(mkdtemp(made.data()) != nullptr, "no temporary folder");
        path = made;
    }
    ~Folder() { fs::remove_all(path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
};

/// How a file of one kind is written and read; reading frees what it read.
struct Form {
    fs::path file;
    std::function<bool()> write, read;
};

Form formOf(const fs::path& base, std::shared_ptr<Scene> scene) {
    scene->name = strdup(base.c_str());
    return {base.string() + ".scn",
            [scene] { return sceneWriteAsciiAnimation("bench", 2.6F, scene.get()) == 1; },
            [base] {
                const OwnedScene copy(sceneAllocate());
                copy->name = strdup(base.c_str());
                return sceneReadAsciiAnimation(copy.get()) == 1;
            }};
}

Form formOf(const fs::path& base, std::shared_ptr<Model> tree, int flavour) {
    return {base.string() + ".hrc",
            [=] { return modelWriteFile(base.c_str(), tree.get(), flavour) == 1; },
            [=] { return OwnedTree(modelReadFile(base.c_str())) != nullptr; }};
}

Form formOf(const fs::path& base, std::shared_ptr<Spline> spline, int flavour) {
    return {base.string() + ".spl",
            [=] { return splineWriteFile(base.c_str(), spline.get(), flavour) == 1; },
            [=] { return OwnedSpline(splineReadFile(base.c_str())) != nullptr; }};
}

void readBytes(const fs::path& file, std::vector<char>& bytes) {
    std::FILE* stream = std::fopen(file.c_str(), "r");
    must(std::fread(bytes.data(), 1, bytes.size(), stream) == bytes.size(), "the bytes");
    std::fclose(stream);
}

void writeBytes(const fs::path& file, const std::vector<char>& bytes) {
    std::FILE* stream = std::fopen(file.c_str(), "w");
    std::fwrite(bytes.data(), 1, bytes.size(), stream);
    std::fclose(stream);
}

template <typename Work>
void add(const std::string& name, Work work) {
    benchmark::RegisterBenchmark(name.c_str(), [work](benchmark::State& state) {
        for ([[maybe_unused]] auto _ : state) {
            work();
        }
    });
}

/// Reading and writing a file against doing so with its bytes.
void addFile(const std::string& row, const Form& form) {
    must(form.write(), row);
    auto bytes = std::make_shared<std::vector<char>>(fs::file_size(form.file));
    add(row + " read/fread", [=] { readBytes(form.file, *bytes); });
    add(row + " read/ours", [=] { must(form.read(), row); });
    add(row + " write/fwrite", [=] { writeBytes(form.file.string() + ".bytes", *bytes); });
    add(row + " write/ours", [=] { must(form.write(), row); });
}

/// A size of this process in bytes, as the system calls it.
double processSize(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == name + ":") {
            double kibibytes = 0;
            status >> kibibytes;
            return kibibytes * 1024;
        }
    }
    throw std::runtime_error("no " + name);
}

/// The most memory that reading a file takes, beyond what the process has before, and its size.
void addMemory(const std::string& row, const Form& form) {
    must(form.write(), row);
    benchmark::RegisterBenchmark((row + "/ours").c_str(), [=](benchmark::State& state) {
        for ([[maybe_unused]] auto _ : state) {
            malloc_trim(0);
            std::ofstream("/proc/self/clear_refs") << 5; // the peak begins here
            const double before = processSize("VmRSS");
            must(form.read(), row);
            state.counters["bytes"] = processSize("VmHWM") - before;
        }
    });
    benchmark::RegisterBenchmark((row + "/file").c_str(), [=](benchmark::State& state) {
        for ([[maybe_unused]] auto _ : state) {
            state.counters["bytes"] = static_cast<double>(fs::file_size(form.file));
        }
    });
}

/// Reading and writing ten times as many elements, and ten times as many again.
void addGrowth(const std::string& what, const std::function<Form(int)>& make) {
    const int most = bench::small() ? 1000 : 1000000;
    for (int count = 1000; count <= most; count *= 10) {
        const Form form = make(count);
        add("growth " + what + "/" + std::to_string(count),
            [=] { must(form.write() && form.read(), what); });
    }
}

/// Evaluates a curve at times over its whole length.
void addEvaluation(const std::string& name, int keys) {
    const std::shared_ptr<Fcurve> curve(makeCurve(1, keys), FcurveDisposer());
    std::mt19937 random(7);
    std::uniform_real_distribution<float> times(0, static_cast<float>(keys));
    std::vector<float> at(1024);
    for (float& time : at) {
        time = times(random);
    }
    add(name, [curve, at] {
        for (const float time : at) {
            benchmark::DoNotOptimize(fcurveValue(curve.get(), time));
        }
    });
}

} // namespace

int main(int argc, char** argv) try {
    benchmark::Initialize(&argc, argv);
    option.level = 0; // no messages
    const Folder folder;
    const auto file = [&](const std::string& name) { return folder.path / name; };
    const auto size = [](int full) { return bench::small() ? std::max(full / 1000, 2) : full; };

    addFile("scene", formOf(file("curves"), bench::makeLights(12, size(7000))));
    for (const int flavour : {0, 1}) {
        const std::string kind = flavour == 0 ? "text" : "binary";
        addFile(kind + " hierarchy", formOf(file(kind), bench::makeTree(size(60000), 12), flavour));
        addFile(kind + " spline", formOf(file(kind), bench::makeSpline(size(32767)), flavour));
    }
    addMemory("memory curves", formOf(file("curves36"), bench::makeLights(12, size(5700))));
    addMemory("memory lights", formOf(file("lights36"), bench::makeLights(size(100000), 0)));
    addMemory("memory text", formOf(file("text36"), bench::makeWave(size(600000))));
    addGrowth("lights", [&](int count) {
        return formOf(file("lights" + std::to_string(count)), bench::makeLights(count, 0));
    });
    addGrowth("keys", [&](int count) {
        return formOf(file("keys" + std::to_string(count)), bench::makeLights(count / 300, 100));
    });
    addGrowth("nodes", [&](int count) {
        return formOf(file("nodes" + std::to_string(count)), bench::makeTree(count, 0), 0);
    });
    for (const int keys : {1000, 30000}) {
        addEvaluation("curve " + std::to_string(keys) + "/10 keys", 10);
        addEvaluation("curve " + std::to_string(keys) + "/ours", keys);
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
} catch (const std::exception& error) {
    std::cerr << "bench_scene: " << error.what() << '\n';
    return 1;
}
