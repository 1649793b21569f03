// SPDX-License-Identifier: MIT
// The scene toolkit: a large scene of curves against reading and writing the same bytes, and the
// evaluation of curves with more and more keys.
#include "pictures.h"
#include "tinyFcurve.h"
#include "tinyLight.h"
#include "tinyScene.h"
#include "tinySoftType.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <memory>
#include <random>
#include <stdexcept>
#include <vector>

namespace fs = std::filesystem;

namespace {

using OwnedScene = std::unique_ptr<Scene, SceneDisposer>;

Fcurve* makeCurve(std::int16_t channel, int keys) {
    Fcurve* curve = fcurveAllocate();
    curve->type = channel;
    curve->keyCount = static_cast<std::int16_t>(keys);
    curve->keys = fcvkeyAllocate(curve->keyCount);
    curve->interpolation = kInterpolateSpline;
    for (int i = 0; i < keys; ++i) {
        const auto time = static_cast<float>(i);
        curve->keys[i] = {time,
                          std::sin(time * 0.37F),
                          0.37F * std::cos(time * 0.37F),
                          0.37F * std::cos(time * 0.37F),
                          0,
                          kInterpolateSpline,
                          0,
                          -1};
    }
    fcurveCheckOrder(curve);
    return curve;
}

OwnedScene namedScene(const fs::path& name) {
    OwnedScene scene(sceneAllocate());
    scene->name = strdup(name.c_str());
    return scene;
}

/// Lights with animated colours: about 50 MB of text, or very little when small.
OwnedScene makeScene(const fs::path& name) {
    OwnedScene scene = namedScene(name);
    const int lights = bench::small() ? 2 : 12;
    const int keys = bench::small() ? 20 : 7000;
    for (int i = 0; i < lights; ++i) {
        Light* light = lightAllocate();
        light->type = kLightPoint;
        constexpr std::int16_t kFirstColourChannel = 22; // LIG_COL_R
        for (std::int16_t c = 0; c < 3; ++c) {
            light->curves[kLightRed + c] =
                makeCurve(static_cast<std::int16_t>(kFirstColourChannel + c), keys);
        }
        light->next = scene->lights;
        scene->lights = light;
    }
    return scene;
}

struct SceneFiles {
    fs::path folder;
    OwnedScene scene;
    std::vector<char> bytes;

    SceneFiles() {
        std::string made = (fs::temp_directory_path() / "tdr-bench-XXXXXX").string();
        if (mkdtemp(made.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        folder = made;
        option.level = 0; // no messages
        scene = makeScene(folder / "curves");
        write();
        bytes.resize(fs::file_size(file("curves.scn")));
    }
    ~SceneFiles() { fs::remove_all(folder); }
    SceneFiles(const SceneFiles&) = delete;
    SceneFiles& operator=(const SceneFiles&) = delete;

    [[nodiscard]] std::string file(const char* name) const { return (folder / name).string(); }
    void write() const {
        if (sceneWriteAsciiAnimation("bench", 2.6F, scene.get()) != 1) {
            throw std::runtime_error("the scene was not written");
        }
    }
    void read() const {
        const OwnedScene copy = namedScene(folder / "curves");
        if (sceneReadAsciiAnimation(copy.get()) != 1 || copy->lights == nullptr) {
            throw std::runtime_error("the scene was not read");
        }
    }
    void readBytes() {
        std::FILE* stream = std::fopen(file("curves.scn").c_str(), "r");
        if (std::fread(bytes.data(), 1, bytes.size(), stream) != bytes.size()) {
            throw std::runtime_error("the bytes were not read");
        }
        std::fclose(stream);
    }
    void writeBytes() {
        std::FILE* stream = std::fopen(file("bytes.scn").c_str(), "w");
        std::fwrite(bytes.data(), 1, bytes.size(), stream);
        std::fclose(stream);
    }
};

template <typename Work>
void add(const std::string& name, Work work) {
    benchmark::RegisterBenchmark(name.c_str(), [work](benchmark::State& state) {
        for ([[maybe_unused]] auto _ : state) {
            work();
        }
    });
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
    SceneFiles files;
    add("scene read/fread", [&] { files.readBytes(); });
    add("scene read/ours", [&] { files.read(); });
    add("scene write/fwrite", [&] { files.writeBytes(); });
    add("scene write/ours", [&] { files.write(); });
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
