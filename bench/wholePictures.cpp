// SPDX-License-Identifier: MIT
#include "wholePictures.h"

#include "bareDriver.h"
#include "base/hugePages.h"
#include "base/uniqueFd.h"
#include "pictures.h"
#include "rounds.h"
#include "tdr/session.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/shm.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr std::size_t kPiece = std::size_t{1} << 20; ///< in which the driver writes a picture

/// Processor time that `work` takes here and in `driver`: both are on one processor, so it is the
/// elapsed time without that of other programs.
template <typename Work>
double busy(const tdr::Session& driver, Work work) {
    clockid_t clock{};
    if (clock_getcpuclockid(driver.pid(), &clock) != 0) {
        throw std::runtime_error("no processor time of the driver");
    }
    const auto now = [](clockid_t id) {
        timespec time{};
        clock_gettime(id, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    };
    const double start = now(clock) + now(CLOCK_THREAD_CPUTIME_ID);
    work();
    return now(clock) + now(CLOCK_THREAD_CPUTIME_ID) - start;
}

/// The part of a whole-picture request without decoding: attaches, maps, fills and detaches the
/// block.
void copyThroughBlock(int id, const std::vector<std::uint8_t>& pixels) {
    void* const memory = base::attachShared(id, pixels.size());
    base::populate(memory, pixels.size());
    std::memcpy(memory, pixels.data(), pixels.size());
    shmdt(memory);
}

/// Writes a new file of that size, in pieces of the driver's size or all at once.
void writeAnew(const fs::path& path, std::size_t bytes, std::size_t pieceBytes) {
    static const std::vector<char> all(std::size_t{64} << 20, 'x');
    fs::remove(path);
    const base::UniqueFd file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    while (bytes > 0) {
        const ssize_t written = write(file.get(), all.data(), std::min(bytes, pieceBytes));
        if (written <= 0) {
            throw std::runtime_error("cannot write " + path.string());
        }
        bytes -= static_cast<std::size_t>(written);
    }
}

} // namespace

void measureWholePictures(const std::string& group) {
    struct Sample {
        std::vector<std::uint8_t> pixels;
        std::string file;
    };
    const Folder folder;
    const std::vector<BenchPicture> pictures = twins(group);
    const int width = pictures.front().width;
    const int height = pictures.front().height;
    std::vector<Sample> samples;
    for (const BenchPicture& picture : pictures) {
        const std::string name = std::to_string(samples.size()) + ".pic";
        samples.push_back({picture.hostLines(), (folder.path / name).string()});
    }
    std::vector<std::uint8_t> copy(samples.front().pixels.size());
    tdr::Session driver = must(tdr::Session::start(kSoftimageFilter));
    tdr::SharedBlock block = must(tdr::SharedBlock::create(copy.size()));
    must(driver.setPixelFormat(0));

    const auto memcpyPicture = [&, turn = std::size_t{0}]() mutable {
        const Sample& sample = samples[turn++ % samples.size()];
        return busy(driver, [&] { std::memcpy(copy.data(), sample.pixels.data(), copy.size()); });
    };
    const auto put = [&, turn = std::size_t{0}]() mutable {
        const Sample& sample = samples[turn++ % samples.size()];
        std::memcpy(block.bytes().data(), sample.pixels.data(), copy.size());
        must(driver.setBounds({0, 0, width, height}));
        must(driver.connectToFile(sample.file, tdr::Access::Write));
        const double seconds = busy(driver, [&] { must(driver.putCache(block)); });
        must(driver.disconnectFromFile());
        return seconds;
    };
    const auto get = [&, turn = std::size_t{0}]() mutable {
        const Sample& sample = samples[turn++ % samples.size()];
        must(driver.connectToFile(sample.file, tdr::Access::Read));
        const double seconds = busy(driver, [&] { must(driver.getCache(block)); });
        must(driver.disconnectFromFile());
        return seconds;
    };
    const auto bareGet = [&, turn = std::size_t{0}]() mutable {
        const Sample& sample = samples[turn++ % samples.size()];
        return busy(driver, [&] { copyThroughBlock(block.id(), sample.pixels); });
    };
    const auto barePut = [&, turn = std::size_t{0}]() mutable {
        const Sample& sample = samples[turn++ % samples.size()];
        return busy(driver, [&] {
            copyThroughBlock(block.id(), sample.pixels);
            writeAnew(folder.path / "bare", fs::file_size(sample.file), kPiece);
        });
    };
    const auto write = [&, turn = std::size_t{0}]() mutable {
        const Sample& sample = samples[turn++ % samples.size()];
        std::memcpy(block.bytes().data(), sample.pixels.data(), copy.size());
        fs::remove(sample.file);
        must(driver.setBounds({0, 0, width, height}));
        return busy(driver, [&] {
            must(driver.connectToFile(sample.file, tdr::Access::Write));
            must(driver.putCache(block));
            must(driver.disconnectFromFile());
        });
    };
    const auto writeAtOnce = [&](std::size_t bytes) {
        fs::remove(folder.path / "bare");
        return busy(driver, [&] { writeAnew(folder.path / "bare", bytes, bytes); });
    };
    const auto writeFile = [&, turn = std::size_t{0}]() mutable {
        return writeAtOnce(fs::file_size(samples[turn++ % samples.size()].file));
    };
    const auto writePixels = [&] { return writeAtOnce(copy.size()); };
    compare("put-cache " + group,
            {{"memcpy", memcpyPicture}, {"ours", put}, {"no coding", barePut}});
    compare("get-cache " + group,
            {{"memcpy", memcpyPicture}, {"ours", get}, {"no coding", bareGet}});
    compare("write " + group, {{"pixels", writePixels}, {"file", writeFile}, {"ours", write}});
}

} // namespace bench
