// SPDX-License-Identifier: MIT
#include "viewer.h"

#include "output/console.h"
#include "output/formatted.h"
#include "tdr/interruptGuard.h"
#include "viewCaption.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <iterator>
#include <poll.h>
#include <utility>

namespace {

/// Part of the screen kept free for the window's frame and its distance from the corner.
constexpr PixelSize kKeptFree{20, 50};

struct KeyRow {
    int key;
    int argument;
    void (Viewer::*act)(int argument);
};

constexpr KeyRow kKeys[] = {
    {'q', 0, &Viewer::quit},
    {kKeyEscape, 0, &Viewer::quit},
    {kKeyRight, 1, &Viewer::step},
    {kKeyDown, 1, &Viewer::step},
    {' ', 1, &Viewer::step},
    {kKeyLeft, -1, &Viewer::step},
    {kKeyUp, -1, &Viewer::step},
    {'m', 0, &Viewer::nextMatte},
    {kKeyReturn, 0, &Viewer::play},
    {'+', 1, &Viewer::zoom},
    {'=', 1, &Viewer::zoom}, // the same key on many keyboards
    {'-', -1, &Viewer::zoom},
    {'1', 0, &Viewer::showPixels},
    {'f', 0, &Viewer::fit},
    {'r', static_cast<int>(ViewChannel::Red), &Viewer::showChannel},
    {'g', static_cast<int>(ViewChannel::Green), &Viewer::showChannel},
    {'b', static_cast<int>(ViewChannel::Blue), &Viewer::showChannel},
    {'a', static_cast<int>(ViewChannel::Alpha), &Viewer::showChannel},
    {'c', static_cast<int>(ViewChannel::Colours), &Viewer::showChannel},
    {'p', 0, &Viewer::changePremultiplied},
    {kKeyF11, 0, &Viewer::fillScreen},
};

constexpr std::array kChannelTexts = {"", " - red", " - green", " - blue", " - alpha"};

} // namespace

Viewer::Viewer(const DriverOptions& drivers, const ViewOptions& options)
    : rate_(options.rate), files_(drivers, options) {}

ExitCode Viewer::run() {
    if (files_.empty()) {
        return files_.exit();
    }
    const auto screen = BufferWindow::screenSize();
    if (!screen) {
        return fail(
            {ExitCode::Failed, files_.name() + ": no X display to show it on (see DISPLAY)"});
    }
    room_ = {std::max(screen->width - kKeptFree.width, 1),
             std::max(screen->height - kKeptFree.height, 1)};
    if (!read(0)) {
        return files_.exit();
    }
    const bool opened = openWindow();
    if (opened) {
        serve();
    }
    if (!opened || (!done_ && window_.lost())) {
        return fail({ExitCode::Failed, files_.name() + ": its window failed, see above"});
    }
    return files_.exit();
}

/// Reads the file that is `step` from the current one. False if none is left.
bool Viewer::read(int step) {
    auto picture = files_.read(step, room_, matte_);
    if (!picture) {
        return false;
    }
    const bool sameShape =
        picture_ && picture_->size == picture->size && picture_->ratio == picture->ratio;
    if (!sameShape) { // pictures of one shape can be compared at one place
        const PixelSize window =
            port_ ? port_->window() : windowSize(picture->size, picture->ratio, room_);
        port_.emplace(picture->size, picture->ratio, window);
    }
    picture_ = std::move(picture);
    raster_.reset();
    changed_ = true;
    return true;
}

// --- The window ----------------------------------------------------------------------------------

bool Viewer::openWindow() {
    drawPicture();
    title_ = title();
    return window_.openForInput(drawn_->size.width, drawn_->size.height, drawn_->pixels.data(),
                                title_.c_str());
}

void Viewer::serve() {
    while (!done_ && window_.handlePending() && tdr::InterruptGuard::signal() == 0) {
        bool idle = true;
        while (const auto input = window_.nextInput()) {
            take(*input);
            idle = false;
        }
        stepWhenDue();
        if (!update() && idle) {
            wait();
        }
    }
}

void Viewer::take(const WindowInput& input) {
    switch (input.kind) {
    case WindowInput::Kind::Key: {
        const auto* row = std::ranges::find(kKeys, input.key, &KeyRow::key);
        if (row != std::end(kKeys)) {
            (this->*row->act)(row->argument);
        }
        break;
    }
    case WindowInput::Kind::Wheel:
        port_->zoom(input.key, input.x, input.y);
        changed_ = true;
        break;
    case WindowInput::Kind::Point:
        pointer_ = input;
        port_->pan(input.movedX, input.movedY);
        changed_ = changed_ || input.movedX != 0 || input.movedY != 0;
        break;
    case WindowInput::Kind::Leave:
        pointer_.reset();
        break;
    case WindowInput::Kind::Resize:
        port_->resizeWindow({input.x, input.y});
        changed_ = true;
        break;
    }
}

void Viewer::stepWhenDue() {
    const auto now = Clock::now();
    if (!due_ || now < *due_) {
        return;
    }
    const auto period =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(1 / rate_));
    due_ = std::max(*due_ + period, now); // no picture is left out to catch up
    step(1);
}

/// Shows what has changed; false if nothing has.
bool Viewer::update() {
    const std::string now = title();
    const std::string over = caption();
    const bool changed = std::exchange(changed_, false);
    if (changed) {
        drawPicture();
    }
    if (std::exchange(caption_, over) != over || changed) {
        const Raster& shown = drawCaptioned();
        window_.show(shown.size.width, shown.size.height, shown.pixels.data());
    }
    if (now != title_) {
        window_.setTitle(now.c_str());
    }
    return std::exchange(title_, now) != now || changed;
}

void Viewer::drawPicture() {
    if (!raster_) {
        raster_ = layerOf(picture_->picture, layer_);
    }
    drawn_ = drawView(*raster_, *port_);
}

/// The numbers are not where the pointer is.
const Raster& Viewer::drawCaptioned() {
    if (caption_.empty()) {
        captioned_.reset();
        return *drawn_;
    }
    captioned_ = drawn_;
    const bool low = pointer_ && pointer_->y > drawn_->size.height / 2;
    drawCaption(caption_, low ? CaptionPlace::Top : CaptionPlace::Bottom, *captioned_);
    return *captioned_;
}

void Viewer::wait() const {
    using std::chrono::milliseconds;
    pollfd sources[] = {{window_.eventFd(), POLLIN, 0},
                        {tdr::InterruptGuard::wakeDescriptor(), POLLIN, 0}};
    const auto left =
        due_ ? std::chrono::ceil<milliseconds>(*due_ - Clock::now()) : milliseconds(-1);
    const auto timeout = due_ ? std::max(left.count(), milliseconds::rep{0}) : left.count();
    ::poll(sources, std::size(sources), static_cast<int>(timeout));
}

std::string Viewer::title() const {
    std::string text = picture_->description;
    if (const std::string place = files_.place(); !place.empty()) {
        text += " - " + place;
    }
    if (picture_->mattes > 1) {
        text += formatted(" - matte {} of {}", picture_->matte + 1, picture_->mattes);
    }
    text += kChannelTexts[static_cast<std::size_t>(layer_.channel)];
    text += layer_.premultiplied ? " - premultiplied" : "";
    if (port_->scale() != 1) {
        text += formatted(" - {}%", std::max(std::lround(100 * port_->scale()), 1L));
    }
    const std::string pixel = pixelText();
    return pixel.empty() ? text : text + " - " + pixel;
}

/// What the title says of the pixel, which nobody sees when the picture fills the screen.
std::string Viewer::caption() const {
    return fillsScreen_ ? pixelText() : "";
}

/// The pixel under the pointer: column and line, red, green, blue and alpha.
std::string Viewer::pixelText() const {
    const auto pixel = pointer_ ? port_->pixelAt(pointer_->x, pointer_->y) : std::nullopt;
    if (!pixel) {
        return {};
    }
    std::string place = formatted("{}, {}", pixel->column, pixel->line);
    const tdr::Picture& picture = picture_->picture;
    if (picture.width != picture_->size.width || picture.height != picture_->size.height) {
        return place;
    }
    const auto row = static_cast<std::size_t>(picture.height - 1 - pixel->line);
    const auto column = static_cast<std::size_t>(pixel->column);
    const std::uint8_t* value =
        &picture.pixels[row * tdr::lineBytes(picture.width) + column * tdr::kPixelBytes];
    return place + formatted(": {} {} {} {}", value[3], value[2], value[1], value[0]);
}

// --- Keys ----------------------------------------------------------------------------------------

void Viewer::step(int files) {
    done_ = !read(files) || done_;
}

void Viewer::nextMatte(int /*unused*/) {
    if (picture_->mattes > 1) {
        matte_ = (picture_->matte + 1) % picture_->mattes;
        step(0);
    }
}

void Viewer::play(int /*unused*/) {
    due_ = due_ ? std::nullopt : std::optional(Clock::now());
}

void Viewer::zoom(int steps) {
    const PixelSize window = port_->window();
    const WindowInput middle{WindowInput::Kind::Point, window.width / 2, window.height / 2};
    const WindowInput at = pointer_.value_or(middle);
    port_->zoom(steps, at.x, at.y);
    changed_ = true;
}

void Viewer::showPixels(int /*unused*/) {
    port_->showPixels();
    changed_ = true;
}

void Viewer::fit(int /*unused*/) {
    port_->fit();
    changed_ = true;
}

void Viewer::showChannel(int channel) {
    layer_.channel = static_cast<ViewChannel>(channel);
    raster_.reset();
    changed_ = true;
}

void Viewer::changePremultiplied(int /*unused*/) {
    layer_.premultiplied = !layer_.premultiplied;
    raster_.reset();
    changed_ = true;
}

void Viewer::fillScreen(int /*unused*/) {
    fillsScreen_ = !fillsScreen_;
    window_.fillScreen(fillsScreen_);
}
