// SPDX-License-Identifier: MIT
// The link: queries, lines and whole pictures over a connection to a real driver, both processes on
// one processor, and the start of a driver.
#include "bareDriver.h"
#include "base/uniqueFd.h"
#include "ipc_socket.h"
#include "pictures.h"
#include "pingPong.h"
#include "rounds.h"
#include "tdr/picture.h"
#include "tdr/session.h"
#include "tinyTag.h"
#include "wholePictures.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace bench;

namespace {

template <typename Work>
double repeated(int times, Work work) {
    return timed([&] {
        for (int i = 0; i < times; ++i) {
            work();
        }
    });
}

void measureRequests() {
    const int times = small() ? 20 : 300; // short, so that other programs disturb few rounds
    const int width = 2048;
    PingPong raw;
    BareDriver driver(kNullFilter);
    const tdr::SharedBlock block = must(tdr::SharedBlock::create(std::size_t{4} * width));
    driver.order(ipc::kActionSetBounds, {0, 0, width, 8});
    driver.order(ipc::kActionConnectToFile, {ipc::kConnectForWriting, 0}, "./none");
    const auto line = [&](std::int16_t code) {
        if (driver.order(code, {width * 4, block.key(), block.id(), 3, 0}) != ipc::kStatusOk) {
            throw std::runtime_error("a line was refused");
        }
    };
    compare("query round trip",
            {{"raw", [&] { return repeated(times, [&] { raw.roundTrip(); }); }},
             {"ours", [&] { return repeated(times, [&] { driver.roundTrip(); }); }}});
    compare("line request",
            {{"round trip", [&] { return repeated(times, [&] { driver.roundTrip(); }); }},
             {"get-line", [&] { return repeated(times, [&] { line(ipc::kActionGetLine); }); }},
             {"put-line", [&] { return repeated(times, [&] { line(ipc::kActionPutLine); }); }}});
}

/// Writes the picture line by line.
void writePicture(tdr::Session& driver, const std::string& file, const BenchPicture& picture) {
    const std::size_t bytes = tdr::lineBytes(picture.width);
    tdr::SharedBlock block = must(tdr::SharedBlock::create(bytes));
    const std::vector<std::uint8_t> pixels = picture.hostLines();
    auto writer = must(tdr::PictureTarget::open(driver, file, picture.width, picture.height));
    for (int line = picture.height; line-- > 0;) {
        std::memcpy(block.bytes().data(), pixels.data() + bytes * static_cast<std::size_t>(line),
                    bytes);
        must(writer.writeLine(block, line));
    }
    must(writer.close());
}

/// Writes the alpha of the picture as a matte of one channel.
void writeMatte(const std::string& file, const BenchPicture& picture) {
    const std::unique_ptr<Tag, TagDisposer> tag(tagAllocate());
    tag->width = static_cast<std::int16_t>(picture.width);
    tag->height = static_cast<std::int16_t>(picture.height);
    tag->channelCount = 1;
    const std::uint8_t* alpha = picture.planes[3].data();
    for (int y = 0; y < picture.height; ++y) {
        std::uint8_t* row = tagTakeRow(tag.get(), 0, y);
        for (int x = 0; x < picture.width; ++x, ++alpha) {
            row[x / 8] |= static_cast<std::uint8_t>((*alpha >> 7) << (7 - x % 8));
        }
    }
    tagWriteFile(file.c_str(), tag.get());
}

/// A file that is open in a driver, for requests of one line after the other, from the top again
/// after the last one.
class OpenPicture {
  public:
    OpenPicture(const std::string& file, const BenchPicture& picture)
        : block_(must(tdr::SharedBlock::create(tdr::lineBytes(picture.width)))),
          height_(picture.height) {
        if (driver_.order(ipc::kActionConnectToFile, {ipc::kConnectForReading, 0}, file.c_str()) !=
            ipc::kStatusOk) {
            throw std::runtime_error("the driver refuses " + file);
        }
    }
    void line() {
        line_ = (line_ > 0 ? line_ : height_) - 1;
        const auto bytes = static_cast<std::int32_t>(block_.bytes().size());
        if (driver_.order(ipc::kActionGetLine, {bytes, block_.key(), block_.id(), line_, 0}) !=
            ipc::kStatusOk) {
            throw std::runtime_error("a line was refused");
        }
    }

  private:
    BareDriver driver_{kSoftimageFilter};
    tdr::SharedBlock block_;
    int height_;
    int line_ = 0;
};

/// Lines of a matte, and of the picture of which it is the alpha.
void measureFileLines(const std::string& group) {
    const Folder folder;
    const std::string tag = folder.path / "matte.tag";
    const std::string pic = folder.path / "matte.pic";
    const BenchPicture picture = twins(group).front();
    writeMatte(tag, picture);
    tdr::Session driver = must(tdr::Session::start(kSoftimageFilter));
    writePicture(driver, pic, picture);
    OpenPicture ofTag(tag, picture);
    OpenPicture ofPic(pic, picture);
    const int times = small() ? 20 : 300;
    compare("line of a file " + group,
            {{"PIC", [&] { return repeated(times, [&] { ofPic.line(); }); }},
             {"TAG", [&] { return repeated(times, [&] { ofTag.line(); }); }}});
}

/// From the start of a bare program to its connection.
double startHello() {
    pid_t child = -1;
    const double seconds = timed([&child] {
        unsigned short port = 0;
        const int listening = createsocket(&port);
        std::string path = TDR_BENCH_DIR "/helloChild";
        std::string option = "-ipc_link_port";
        std::string number = std::to_string(port);
        char* const argv[] = {path.data(), option.data(), number.data(), nullptr};
        if (posix_spawn(&child, path.c_str(), nullptr, nullptr, argv, environ) != 0) {
            throw std::runtime_error("cannot start " + path);
        }
        close(accept(listening, nullptr, nullptr));
        close(listening);
    });
    waitpid(child, nullptr, 0);
    return seconds;
}

double startDriver() {
    std::optional<tdr::Session> driver;
    return timed([&] { driver.emplace(must(tdr::Session::start(kSoftimageFilter))); });
}

/// Peak resident memory in bytes of a driver that reads and then writes a picture line by line.
double driverMemory(const BenchPicture& picture) {
    const Folder folder;
    const std::string file = (folder.path / "picture.pic").string();
    tdr::Session driver = must(tdr::Session::start(kSoftimageFilter));
    writePicture(driver, file, picture);
    tdr::SharedBlock block = must(tdr::SharedBlock::create(tdr::lineBytes(picture.width)));
    auto reader = must(tdr::PictureSource::open(driver, file));
    for (int line = picture.height; line-- > 0;) {
        must(reader.readLine(block, line));
    }
    must(reader.close());

    std::ifstream status("/proc/" + std::to_string(driver.pid()) + "/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            double kibibytes = 0;
            status >> kibibytes;
            return kibibytes * 1024;
        }
    }
    throw std::runtime_error("no VmHWM");
}

} // namespace

int main() try {
    useOneProcessor();
    measureRequests();
    for (const char* group : {"matte", "noise"}) {
        measureFileLines(group);
    }
    compare("driver start", {{"hello", startHello}, {"ours", startDriver}});
    for (const char* group : {"photograph", "flat"}) {
        if (!twins(group).empty()) {
            measureWholePictures(group);
        }
    }
    bench::report("driver memory", "bytes", driverMemory(pictures().front()));
    return 0;
} catch (const std::exception& error) {
    std::cerr << "bench_link: " << error.what() << '\n';
    return 1;
}
