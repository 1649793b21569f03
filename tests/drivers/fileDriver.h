// SPDX-License-Identifier: MIT
// Shared by the tests of drivers that serve files. A driver's folder has a driverUnderTest.h, which
// describes the driver to fileDriverTest.cpp.
#pragma once

#include "TDR_Driver.h"
#include "support/captureStderr.h"
#include "support/tempDir.h"

#include <gtest/gtest.h>
#include <vector>

/// A driver, usually without a link, used as the framework uses it: blocks have a real size, the
/// name is in fileName.
template <class Driver>
class FileDriver : public Driver {
  public:
    FileDriver() : Driver(0) {}

    using Driver::bounds;
    using Driver::currentFormat;
    using Driver::data;
    using Transfer = TDR_Driver::Transfer;

    int postWrites = 0;
    int executePostWriteCommand() override {
        ++postWrites;
        return 0;
    }

    int connect(const std::string& path, int mode) {
        std::snprintf(this->fileName, sizeof this->fileName, "%s", path.c_str());
        return this->connectToFile(this->fileName, mode);
    }
    int read(const std::string& path) { return connect(path, 0); }
    int write(const std::string& path, long w, long h, int format = 0) {
        return this->setPixelFormat(format) == 0 && this->setBounds(0, 0, w, h) == 0
                   ? connect(path, 1)
                   : -1;
    }

    int get(std::string& block, long y) {
        return with(block.size(), Transfer::GetLine, y,
                    [&] { return this->getLine(block.data(), 0, 0, y); });
    }
    int put(const std::string& block, long y) {
        return with(block.size(), Transfer::PutLine, y,
                    [&] { return this->putLine(writable(block), 0, 0, y); });
    }
    int getAll(std::string& block) {
        return with(block.size(), Transfer::GetCache, 0,
                    [&] { return this->getCache(block.data(), 0, 0); });
    }
    int putAll(const std::string& block) {
        return with(block.size(), Transfer::PutCache, 0,
                    [&] { return this->putCache(writable(block), 0, 0); });
    }

    /// Size of a line of the driver in bytes.
    [[nodiscard]] virtual std::size_t lineBytes() const {
        return static_cast<std::size_t>(bounds[2]) * 4;
    }
    /// Line `y` as the driver reads it into a block filled with `before`; "?" on an error.
    std::string line(long y, char before = 0) {
        std::string block(lineBytes(), before);
        return get(block, y) == 0 ? block : "?";
    }

    /// The longs of the answer about format `index`.
    std::vector<std::int32_t> format(int index) {
        data.numof_longs = 0;
        this->sendIthFormat(index);
        return {data.longdata, data.longdata + data.numof_longs};
    }

  private:
    /// A put request does not change the block.
    static char* writable(const std::string& block) { return const_cast<char*>(block.data()); }

    template <typename Operation>
    int with(std::size_t bytes, Transfer transfer, long y, Operation operation) {
        this->blockBytes = bytes;
        const int result = this->mayTransfer(transfer, y) ? operation() : -1;
        this->blockBytes = 0;
        return result;
    }
};

/// A driver and a folder for its files.
template <class Driver>
class WithFolder : public testing::Test {
  protected:
    support::TempDir folder;
    Driver filter;
};

/// A host line of `w` RGBA pixels, different for each `seed`, with runs and without.
inline std::string hostLine(int w, int seed) {
    std::string line;
    for (int i = 0; i < w * 4; ++i) {
        line += static_cast<char>(seed * 16 + (i % 4) * 3 + (i / 12) % 5);
    }
    return line;
}

// --- The description of a driver -----------------------------------------------------------------

/// A connection that must fail; `said` is part of the one line on stderr, null for none.
struct Refusal {
    const char* name;
    std::string path;
    int mode;
    const char* said;
    long width = 1;
    long height = 1;
};

/// A small complete file and its contents.
struct Sample {
    std::string name;
    std::string bytes;
    std::size_t head;               ///< minimum size of a file that can be opened
    std::vector<std::string> lines; ///< from the bottom
    bool fromTheTop = true;         ///< lines after a cut one are lost
};

/// A short file whose header claims the largest size.
struct Claim {
    std::string name;
    std::string bytes;
    bool served = true;
};
