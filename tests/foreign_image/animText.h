// SPDX-License-Identifier: MIT
// Shared by tests of animation text: text in, text out, messages and notices.
#pragma once

#include "testBytes.h"
#include "tinyFcurve.h"
#include "tinySoftType.h"
#include "tinySpline.h"
#include "tinyUtils.h"

#include <gtest/gtest.h>
#include <sstream>

namespace animtext {

using namespace testbytes;

using Curve = std::unique_ptr<Fcurve, FcurveDisposer>;
using OwnedSpline = std::unique_ptr<Spline, SplineDisposer>;

/// A stream that holds exactly these bytes, and reads them in pieces of that size if it is given.
class Input {
  public:
    explicit Input(std::string_view bytes, std::size_t piece = 0)
        : bytes_(bytes), buffer_(piece, '\0'),
          stream_(fmemopen(bytes_.data(), bytes_.size(), "r")) {
        if (piece != 0) {
            std::setvbuf(stream_.get(), buffer_.data(), _IOFBF, piece);
        }
    }
    operator std::FILE*() const { return stream_.get(); } // NOLINT(google-explicit-constructor)

    /// The rest that has not been consumed.
    [[nodiscard]] std::string rest() const { return restOf(stream_.get()); }

  private:
    std::string bytes_;
    std::string buffer_;
    base::UniqueFile stream_;
};

/// Lines as the animation form writes them at a depth: "A|   B" stands for "\n   A \n      B " at
/// depth 1.
inline std::string lines(int depth, const std::string& text) {
    std::string all;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line, '|');) {
        all += "\n" + std::string(static_cast<std::size_t>(3 * depth), ' ') + line + " ";
    }
    return all;
}

/// Text with every run of blanks and line ends as one blank.
inline std::string squeezed(const std::string& text) {
    std::string all;
    std::istringstream in(text);
    for (std::string word; in >> word;) {
        all += (all.empty() ? "" : " ") + word;
    }
    return all;
}

/// The text with every occurrence of a letter replaced.
inline std::string expanded(std::string text, char letter, std::string_view meaning) {
    for (std::size_t at = text.find(letter); at != text.npos;
         at = text.find(letter, at + meaning.size())) {
        text.replace(at, 1, meaning);
    }
    return text;
}

/// Resets the text state for every test; collects messages and notices.
class AnimText : public testing::Test {
  protected:
    AnimText() {
        animReset();
        optionReset();
        option.stream = messages_.get();
        animSetObserver(
            [](void* context, const AnimNotice& notice) {
                if (notice.follows) {
                    return;
                }
                constexpr const char* kKinds[] = {"unknown ", "cut ",     "missing ",   "number ",
                                                  "dropped ", "surplus ", "line ends ", "failed ",
                                                  "kept ",    "version ", "by format ", "rounded "};
                static_cast<AnimText*>(context)->notices_ +=
                    std::string(kKinds[static_cast<int>(notice.kind)]) + notice.word + " " +
                    std::to_string(notice.line) + ";";
            },
            this);
    }
    ~AnimText() override {
        optionReset();
        animReset();
    }

    /// The messages since the last call.
    std::string messages() {
        std::fflush(messages_.get());
        const std::string all = contentOf(messages_.get());
        std::fseek(messages_.get(), 0, SEEK_END); // between reading and writing
        return all.substr(std::exchange(messagesSeen_, all.size()));
    }

    /// The notices since the last call, as "kind word line;".
    std::string notices() { return std::exchange(notices_, {}); }

    /// Checks the token, messages and notices that the reader leaves.
    void expectLeft(const char* token, const std::string& messages, const std::string& notices) {
        EXPECT_STREQ(animToken, token);
        EXPECT_EQ(this->messages(), messages);
        EXPECT_EQ(this->notices(), notices);
    }

  private:
    base::UniqueFile messages_ = streamOf("");
    std::size_t messagesSeen_ = 0;
    std::string notices_;
};

} // namespace animtext
