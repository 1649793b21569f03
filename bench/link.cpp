// SPDX-License-Identifier: MIT
// The link: queries, lines and whole pictures over a connection to a real driver, both processes on
// one processor, and the start of a driver.
#include "base/hugePages.h"
#include "base/uniqueFd.h"
#include "ipc_peer.h"
#include "ipc_socket.h"
#include "ipc_wire.h"
#include "pictures.h"
#include "pingPong.h"
#include "rounds.h"
#include "tdr/picture.h"
#include "tdr/session.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <spawn.h>
#include <stdexcept>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;
using bench::compare;
using bench::timed;

namespace {

constexpr const char* kNullFilter = TDR_BIN_DIR "/nullFilter";
constexpr const char* kSoftimageFilter = TDR_BIN_DIR "/softimageFilter";
constexpr std::size_t kPiece = std::size_t{1} << 20; ///< in which the driver writes a picture
constexpr std::int16_t kUnknownQuery = 1040;         ///< answered with the empty error reply

template <typename T>
T must(tdr::Result<T> result) {
    if (!result) {
        throw std::runtime_error(result.failure().text());
    }
    return std::move(*result);
}

void must(const tdr::Status& status) {
    if (!status) {
        throw std::runtime_error(status.failure().text());
    }
}

/// A driver over the host library's wire, but without that library. Ends with the object.
class BareDriver {
  public:
    BareDriver() {
        ipc::PeerOptions options;
        options.path = kNullFilter;
        options.localId = 1;
        options.localSubId = 1;
        ipc::PeerStart start = ipc::startPeer(options);
        if (start.failure != ipc::PeerFailure::None) {
            throw std::runtime_error(ipc::describe(start.failure));
        }
        peer_ = std::move(start.peer);
        receive(); // the start-up OK
    }
    ~BareDriver() {
        peer_.socket.reset();
        waitpid(peer_.process.pid(), nullptr, 0);
    }
    BareDriver(const BareDriver&) = delete;
    BareDriver& operator=(const BareDriver&) = delete;

    void roundTrip() {
        begin(ipc::kClassInfo, kUnknownQuery);
        send();
        receive();
    }

    std::int16_t order(std::int16_t code, std::initializer_list<std::int32_t> longs,
                       const char* text = nullptr) {
        begin(ipc::kClassAction, code);
        packet_.numof_longs = static_cast<std::int32_t>(longs.size());
        std::copy(longs.begin(), longs.end(), packet_.longdata);
        if (text != nullptr) {
            packet_.numof_strings = 1;
            packet_.numof_chars = static_cast<std::int32_t>(std::strlen(text) + 1);
            std::memcpy(packet_.chardata, text, std::strlen(text) + 1);
        }
        send();
        do {
            receive();
        } while (packet_.datacmd[ipc::kWordCode] == ipc::kEventBlockTaken);
        return packet_.datacmd[ipc::kWordCode];
    }

  private:
    void begin(std::int16_t messageClass, std::int16_t code) {
        packet_ = {};
        ipc::fillHeader(packet_, {1, 1, peer_.peerId, peer_.peerSubId}, messageClass, code);
        deadline_ = ipc::deadlineAfter(std::chrono::seconds(20));
    }
    void send() {
        if (ipc::sendPacket(peer_.socket.get(), packet_, deadline_, -1, &peer_.process) !=
            ipc::SendEnd::Sent) {
            throw std::runtime_error("the driver does not listen");
        }
    }
    void receive() {
        if (ipc::receivePacket(peer_.socket.get(), packet_, deadline_, -1, &peer_.process).end !=
            ipc::ReadEnd::Complete) {
            throw std::runtime_error("the driver does not answer");
        }
    }

    ipc::Peer peer_;
    ipc::Deadline deadline_;
    IPC_DataPacket packet_{};
};

template <typename Work>
double repeated(int times, Work work) {
    return timed([&] {
        for (int i = 0; i < times; ++i) {
            work();
        }
    });
}

void measureRequests() {
    const int times = bench::small() ? 20 : 300; // short, so that other programs disturb few rounds
    const int width = 2048;
    bench::PingPong raw;
    BareDriver driver;
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

/// A folder for files, removed with the object.
struct Folder {
    fs::path path;
    Folder() {
        std::string name = (fs::temp_directory_path() / "tdr-bench-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        path = name;
    }
    ~Folder() { fs::remove_all(path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
};

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
    const base::HugePageGap gap(pixels.size());
    void* const memory = shmat(id, nullptr, 0);
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

/// Whole pictures in one request, a different one each time, over a fresh connection.
void measureCaches(const std::string& group) {
    struct Sample {
        std::vector<std::uint8_t> pixels;
        std::string file;
    };
    const Folder folder;
    const std::vector<bench::BenchPicture> pictures = bench::twins(group);
    const int width = pictures.front().width;
    const int height = pictures.front().height;
    std::vector<Sample> samples;
    for (const bench::BenchPicture& picture : pictures) {
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
    const auto writeOnce = [&, turn = std::size_t{0}]() mutable {
        const std::size_t bytes = fs::file_size(samples[turn++ % samples.size()].file);
        fs::remove(folder.path / "bare");
        return busy(driver, [&] { writeAnew(folder.path / "bare", bytes, bytes); });
    };
    compare("put-cache " + group,
            {{"memcpy", memcpyPicture}, {"ours", put}, {"no coding", barePut}});
    compare("get-cache " + group,
            {{"memcpy", memcpyPicture}, {"ours", get}, {"no coding", bareGet}});
    compare("write " + group, {{"one call", writeOnce}, {"ours", write}});
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
double driverMemory(const bench::BenchPicture& picture) {
    const Folder folder;
    const std::string file = (folder.path / "picture.pic").string();
    tdr::Session driver = must(tdr::Session::start(kSoftimageFilter));
    tdr::SharedBlock block = must(tdr::SharedBlock::create(tdr::lineBytes(picture.width)));
    const std::vector<std::uint8_t> pixels = picture.hostLines();
    auto writer = must(tdr::PictureTarget::open(driver, file, picture.width, picture.height));
    for (int line = picture.height; line-- > 0;) {
        const std::size_t bytes = tdr::lineBytes(picture.width);
        std::memcpy(block.bytes().data(), pixels.data() + bytes * static_cast<std::size_t>(line),
                    bytes);
        must(writer.writeLine(block, line));
    }
    must(writer.close());
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
    bench::useOneProcessor();
    measureRequests();
    compare("driver start", {{"hello", startHello}, {"ours", startDriver}});
    for (const char* group : {"photograph", "flat"}) {
        if (!bench::twins(group).empty()) {
            measureCaches(group);
        }
    }
    bench::report("driver memory", "bytes", driverMemory(bench::pictures().front()));
    return 0;
} catch (const std::exception& error) {
    std::cerr << "bench_link: " << error.what() << '\n';
    return 1;
}
