// SPDX-License-Identifier: MIT
// The driver's identity, and the settings of the host.
#include "TDR_SoftimageFilter.h"

#include "base/diagnostics.h"
#include "pixelOrder.h"

#include <algorithm>
#include <new>

using namespace softimage;

namespace {

// Kept: The table holds two formats, but the count says one.
// A reader would expect a count of 2. The count covers RGBA only, although a query for the matte
// format by its index is answered.
constexpr std::int32_t kOfferedFormats = 1;
constexpr TDR_PixelFormat kFormats[] = {
    kRgbaFormat,
    {1, 1, 1, {2}},
};

} // namespace

// Kept: The driver reports that it cannot work on this machine.
// A reader would expect devicePredicate to return yes here, because the driver needs nothing that
// may be missing. The answer of the base class applies.
TDR_Driver* createDriver(int port) {
    return new (std::nothrow) TDR_SoftimageFilter(port);
}

TDR_SoftimageFilter::TDR_SoftimageFilter(int port) : TDR_Driver(port) {
    initialize();
}

TDR_SoftimageFilter::~TDR_SoftimageFilter() {
    TDR_Driver::cleanup(); // while the virtual operations still reach this class
    cleanup();
}

int TDR_SoftimageFilter::initialize() {
    me = "Softimage Filter";
    version = "1";
    vendorName = "SOFTIMAGE Inc.";
    formatName = "SOFTIMAGE";
    namingPrefix = "test.";
    namingExtension = ".pic";
    namingFlag = 1;
    namingTemplate = "%s.%d.pic";
    accessModes = kFileAccessModes;
    writeDirection = kFileWriteDirection;
    formatCount = kOfferedFormats;
    formats = kFormats;
    cleanup();
    tagChannelCount = 1;
    lastWrittenLine = -1;
    return 0;
}

int TDR_SoftimageFilter::sendIthFormat(int index) {
    if (index != kFormatTag) {
        return TDR_Driver::sendIthFormat(index);
    }
    const TDR_PixelFormat& format = kFormats[kFormatTag];
    const int channels = std::clamp<int>(tagChannelCount, 0, base::kMaxTagChannels);
    beginReply(ipc::kQueryIthFormat + ipc::kReplyOffset);
    data.numof_longs = 3 + channels;
    data.longdata[0] = channels;
    data.longdata[1] = format.depth1;
    data.longdata[2] = format.depth2;
    std::fill_n(data.longdata + 3, channels, format.channels[0]);
    return sendReply();
}

int TDR_SoftimageFilter::setPixelFormat(int format) {
    const int wanted = format == kFormatTag ? kFormatTag : kFormatRgba;
    if (wanted == currentFormat) {
        return 0;
    }
    // Kept: An unknown pixel format is never refused.
    // A reader would expect a format such as 7 to be refused here. Every value except 1 has already
    // become 0, so the test cannot fail and the host gets RGBA.
    constexpr int kKnown[] = {kFormatRgba, kFormatTag, kFormatRgb, kFormatAlpha};
    if (std::find(std::begin(kKnown), std::end(kKnown), wanted) == std::end(kKnown)) {
        base::say("%s: Request for unsupported bytedepth ignored.\n", me);
        return 0;
    }
    if (isOpen()) {
        base::say("%s: Unable to change format of existing file.\n", me);
        return -1;
    }
    currentFormat = wanted;
    return 0;
}

int TDR_SoftimageFilter::setBounds(long x, long y, long width, long height) {
    // Kept: Bounds that are refused still move the origin.
    // A reader would expect a refused request to change nothing. While a file is open its width and
    // height stay, but x and y are still stored.
    bounds[0] = static_cast<std::int32_t>(x);
    bounds[1] = static_cast<std::int32_t>(y);
    if (width == bounds[2] && height == bounds[3]) {
        return 0;
    }
    if (isOpen()) {
        base::say("%s: Unable to change bounds of existing file.\n", me);
        return -1;
    }
    bounds[2] = static_cast<std::int32_t>(width);
    bounds[3] = static_cast<std::int32_t>(height);
    return 0;
}
