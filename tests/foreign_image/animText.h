// SPDX-License-Identifier: MIT
// What tests of animation text share: text in, text out, the messages and notices in between.
#pragma once

#include "tinyFcurve.h"
#include "tinySoftType.h"
#include "tinySpline.h"
#include "tinyUtils.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <string_view>

namespace animtext {

using Curve = std::unique_ptr<Fcurve, FcurveDisposer>;
using OwnedSpline = std::unique_ptr<Spline, SplineDisposer>;

/// Calls `write` with a stream and gives what it wrote.
inline std::string written(const std::function<void(std::FILE*)>& write) {
    char* bytes = nullptr;
    std::size_t size = 0;
    std::FILE* stream = open_memstream(&bytes, &size);
    write(stream);
    std::fclose(stream);
    std::string text(bytes, size);
    std::free(bytes);
    return text;
}

/// A stream that holds exactly these bytes.
class Input {
  public:
    explicit Input(std::string_view bytes)
        : bytes_(bytes), stream_(fmemopen(bytes_.data(), bytes_.size(), "r")) {}
    ~Input() { std::fclose(stream_); }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;

    operator std::FILE*() const { return stream_; } // NOLINT(google-explicit-constructor)

    /// What has not been consumed.
    [[nodiscard]] std::string rest() const {
        std::string rest;
        for (int c = std::fgetc(stream_); c != EOF; c = std::fgetc(stream_)) {
            rest += static_cast<char>(c);
        }
        return rest;
    }

  private:
    std::string bytes_;
    std::FILE* stream_;
};

/// Fresh text state for every test; messages and notices are collected.
class AnimText : public testing::Test {
  protected:
    AnimText() {
        animReset();
        optionReset();
        option.stream = open_memstream(&messages_, &messagesSize_);
        animSetObserver(
            [](void* context, const AnimNotice& notice) {
                static_cast<AnimText*>(context)->add(notice);
            },
            this);
    }
    ~AnimText() override {
        std::fclose(option.stream);
        std::free(messages_);
        optionReset();
        animReset();
    }

    /// The messages since the last call.
    std::string messages() {
        std::fflush(option.stream);
        std::string text(messages_, messagesSize_);
        std::rewind(option.stream);
        std::fflush(option.stream);
        return text;
    }

    /// The notices since the last call, as "kind word line;".
    std::string notices() { return std::exchange(notices_, {}); }

  private:
    void add(const AnimNotice& notice) {
        constexpr const char* kKinds[] = {"unknown", "cut", "missing"};
        notices_ += std::string(kKinds[static_cast<int>(notice.kind)]) + " " + notice.word + " " +
                    std::to_string(notice.line) + ";";
    }

    char* messages_ = nullptr;
    std::size_t messagesSize_ = 0;
    std::string notices_;
};

} // namespace animtext
