// SPDX-License-Identifier: MIT
// The manual's driver for PPM pictures with one flaw, which the name of the program selects: tests
// make a link to this program with the name of the flaw.
#define createDriver createPpmDriver
#include "ppmFilter.inc"
#undef createDriver

#include <string>

namespace {

class FlawedDriver : public PpmFilter {
  public:
    explicit FlawedDriver(int port) : PpmFilter(port) {}

    int getCache(char* block, int size, long cell) override {
        return is("refusesCaches")   ? -1
               : is("ignoresCaches") ? 0
                                     : PpmFilter::getCache(block, size, cell);
    }
    int putCache(char* block, int size, long cell) override {
        return is("refusesCaches") ? -1 : PpmFilter::putCache(block, size, cell);
    }

  private:
    static bool is(std::string_view flaw) {
        const std::string_view name = gInvocationName;
        return name == flaw || name == std::string(flaw) + "Filter";
    }
};

} // namespace

TDR_Driver* createDriver(int port) {
    return std::make_unique<FlawedDriver>(port).release();
}
