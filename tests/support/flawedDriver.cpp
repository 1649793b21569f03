// SPDX-License-Identifier: MIT
// The manual's driver for PPM pictures with one flaw, which the name of the program selects: tests
// make a link to this program with the name of the flaw.
#define createDriver createPpmDriver
#include "ppmFilter.inc"
#undef createDriver

#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace {

bool is(std::string_view flaw) {
    const std::string_view name = gInvocationName;
    return name == flaw || name == std::string(flaw) + "Filter";
}

class FlawedDriver : public PpmFilter {
  public:
    explicit FlawedDriver(int port) : PpmFilter(port) {
        namingExtension = is("noEnding")      ? "ppm"
                          : is("slashEnding") ? "/a"
                          : is("longEnding")  ? ".a-very-long-ending-of-33-letters!"
                                              : namingExtension;
        formatCount = is("noFormats") ? 0 : formatCount;
        vendorName = is("noVendor") ? "" : vendorName;
    }
    ~FlawedDriver() override {
        if (is("failsAtEnd")) {
            _exit(3);
        }
    }

    int devicePredicate() override {
        if (is("predicateFails")) {
            _exit(7);
        }
        hang("hangsPredicate");
        return is("notHere") ? 0 : 1;
    }
    int sendVendorName() override {
        hang("hangsVendor");
        return is("mixesVendor") ? sendOK() : PpmFilter::sendVendorName();
    }
    int sendFormatCount() override { return die("diesCount"), PpmFilter::sendFormatCount(); }
    int sendAccessModes() override { return die("diesAccess"), PpmFilter::sendAccessModes(); }
    int sendEndCell() override { return die("diesEndCell"), PpmFilter::sendEndCell(); }
    int otherClass4Response() override { return is("agrees") ? 0 : -1; }
    int otherClass0Response() override { return is("agrees") ? sendOK() : sendError(); }
    int setBounds(long x, long y, long width, long height) override {
        if (is("resizes") && connected_) {
            bounds[2] = static_cast<std::int32_t>(width);
            return -1;
        }
        return PpmFilter::setBounds(x, y, is("ownBounds") ? width + 1 : width, height);
    }
    int setPixelFormat(int index) override {
        return is("noFormatSet") ? 0 : PpmFilter::setPixelFormat(index);
    }

    int connectToFile(char* name, int mode) override {
        if (is("oneConnect") && connected_) {
            return -1;
        }
        if ((is("silentMissing") && access(name, F_OK) != 0 && mode == 0) ||
            (is("dropsCommand") && disconnectFromFile() == -1)) {
            return -1;
        }
        if (mode != 0) {
            hang("hangsWriting");
        }
        firstWritten_ = mode != 0 && firstWritten_.empty() ? name : firstWritten_;
        path_ = is("keepsName") && mode != 0 ? firstWritten_ : name;
        wholePut_ = false;
        const int result =
            is("readsOnly") && mode != 0 ? -1 : PpmFilter::connectToFile(path_.data(), mode);
        if (result == -1 && (is("complains") || (is("readsOnly") && mode != 0))) {
            base::say("%s: '%s' is not a PPM.\n", me, name);
        }
        connected_ = result == 0;
        next_ = mode == 0 ? bounds[3] - 1 : 0;
        currentFormat = is("noCurrentFormat") ? -1 : currentFormat;
        if (is("emptyBounds") && mode == 0) {
            bounds[2] = bounds[3] = 0;
        }
        return is("acceptsAll") ? 0 : result;
    }
    int disconnectFromFile() override {
        const int result = connected_ ? PpmFilter::disconnectFromFile() : 0;
        if (is("losesWhole") && wholePut_) {
            unlink(path_.c_str());
        }
        if (is("dies") && connected_) {
            std::abort();
        }
        const bool refuses = is("mustBeOpen") && !connected_;
        connected_ = false;
        return refuses ? -1 : result;
    }

    std::optional<std::size_t> declaredLineBytes(Transfer transfer) const override {
        return is("anyLine") || is("anyBlock") ? std::nullopt
                                               : PpmFilter::declaredLineBytes(transfer);
    }
    bool isOpenFor(Transfer transfer) const override {
        return is("needsNoFile")    ? TDR_Driver::isOpenFor(transfer)
               : is("anyDirection") ? connected_
                                    : PpmFilter::isOpenFor(transfer);
    }

    int getLine(char* block, int size, long cell, long line) override {
        const std::size_t pictureLine = static_cast<std::size_t>(bounds[2]) * 4;
        if (!isOpen(Transfer::GetLine)) {
            return 0;
        }
        if (line < 0 || line >= bounds[3] || blockBytes < pictureLine) {
            return is("anyBlock") && line >= 0 && line < bounds[3] ? 0 : is("anyLine") ? 0 : -1;
        }
        const long wanted = is("inOrder") ? next_ : line;
        next_ = (next_ + bounds[3] - 1) % bounds[3];
        const int saved = is("silentDamage") ? silence() : -1;
        const int result = PpmFilter::getLine(block, size, cell, wanted);
        dup2(saved, STDERR_FILENO);
        close(saved);
        if (is("pastTheLine")) {
            block[pictureLine] = 1;
        }
        return result;
    }
    int putLine(char* block, int size, long cell, long line) override {
        if (!isOpen(Transfer::PutLine)) {
            return 0;
        }
        const long wanted = is("asTheyCome") ? bounds[3] - 1 - next_ : line;
        next_ = (next_ + 1) % bounds[3];
        if (is("upsideDown")) {
            return PpmFilter::putLine(block, size, cell, bounds[3] - 1 - wanted);
        }
        return PpmFilter::putLine(block, size, cell, wanted);
    }
    int getCache(char* block, int size, long cell) override {
        if (is("refusesCaches") || is("ignoresCaches")) {
            return is("refusesCaches") ? -1 : 0;
        }
        const int result = PpmFilter::getCache(block, size, cell);
        if (is("otherCache")) {
            block[static_cast<std::size_t>(bounds[2]) * 4 + 1] ^= 1; // line 1
        }
        return result;
    }
    int putCache(char* block, int size, long cell) override {
        wholePut_ = true;
        return is("refusesCaches") ? -1 : PpmFilter::putCache(block, size, cell);
    }

  private:
    static void hang(const char* flaw) {
        while (is(flaw)) {
            pause();
        }
    }
    static void die(const char* flaw) {
        if (is(flaw)) {
            _exit(1);
        }
    }
    /// Standard error, which leads nowhere from now on.
    static int silence() {
        const int saved = dup(STDERR_FILENO);
        dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
        return saved;
    }
    [[nodiscard]] bool isOpen(Transfer transfer) const { return PpmFilter::isOpenFor(transfer); }

    std::string path_;
    std::string firstWritten_;
    bool wholePut_ = false;
    bool connected_ = false;
    long next_ = 0;
};

} // namespace

TDR_Driver* createDriver(int port) {
    return std::make_unique<FlawedDriver>(port).release();
}
