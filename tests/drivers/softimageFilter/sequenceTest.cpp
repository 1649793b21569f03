// SPDX-License-Identifier: MIT
// Put and get requests in any order, against a line-by-line model: which lines are written to a
// file, and which one each request then reads.
#include "driverUnderTest.h"

#include <algorithm>
#include <map>
#include <optional>
#include <random>

namespace {

/// Random numbers, the same ones in every run and with every library.
class Dice {
  public:
    explicit Dice(unsigned seed) : random_(seed) {}
    /// 0 to `sides` - 1.
    std::size_t roll(std::size_t sides) { return random_() % sides; }
    long between(long least, long most) {
        return least + static_cast<long>(roll(static_cast<std::size_t>(most - least + 1)));
    }
    std::string bytes(std::size_t count) {
        std::string all(count, '\0');
        const std::size_t alike = 1 + roll(4); // runs and literals
        for (std::size_t i = 0; i < count; ++i) {
            all[i] = static_cast<char>(random_() / 16 % alike);
        }
        return all;
    }

  private:
    std::mt19937 random_;
};

/// A file of complete scanlines and its state: lines are indices into `lines`.
class Model {
  public:
    Model(long height, bool matte)
        : matte_(matte), starts_(static_cast<std::size_t>(height)), rows_(starts_.size()) {
        starts_[0] = 0;
    }

    std::vector<std::string> lines; ///< of the file, in its order

    void put(long y, const std::string& line) {
        const std::size_t k = starts_.size() - 1 - static_cast<std::size_t>(y);
        if (static_cast<long>(k) == last_ + 1) {
            write(k, line);
        } else {
            kept_[k] = line;
        }
    }
    void putAll(const std::string& block) {
        for (std::size_t row = starts_.size(); row-- > 0;) {
            const std::size_t size = block.size() / starts_.size();
            write(row, block.substr(row * size, size));
        }
    }
    /// Ends writing: from now on the file is read.
    void close() {
        for (auto k = static_cast<std::size_t>(last_ + 1); k < starts_.size(); ++k) {
            if (kept_.contains(k) && (starts_[k] || last_ != -1)) {
                write(k, starts_[k] ? std::optional(kept_[k]) : std::nullopt);
            }
        }
        starts_.assign(starts_.size(), std::nullopt);
        starts_[0] = 0;
        at_ = 0;
    }
    /// The line of the file for host line `y`; none past the end of the file.
    std::size_t get(long y) {
        const std::size_t k = starts_.size() - 1 - static_cast<std::size_t>(y);
        if (!starts_[k]) {
            const auto unknown = std::find(starts_.begin(), starts_.end(), std::nullopt);
            const auto first = static_cast<std::size_t>(unknown - starts_.begin()) - 1;
            for (std::size_t i = first; i < starts_.size(); ++i) {
                read(i);
            }
        }
        return read(k);
    }
    std::vector<std::size_t> getAll() {
        std::vector<std::size_t> found(starts_.size());
        for (std::size_t row = starts_.size(); row-- > 0;) {
            found[row] = read(row);
        }
        return found;
    }

  private:
    void write(std::size_t k, const std::optional<std::string>& line) {
        const std::size_t mirrored = rows_.size() - 1 - k;
        rows_[mirrored] = line ? *line : rows_[mirrored];
        lines.push_back(matte_ ? rows_[k] : line.value_or(""));
        starts_[k] = starts_[k] ? starts_[k] : lines.size() - 1;
        last_ = static_cast<long>(k);
        if (k + 1 < starts_.size()) {
            starts_[k + 1] = lines.size();
        }
    }
    std::size_t read(std::size_t k) {
        const std::size_t found = starts_[k].value_or(at_);
        starts_[k] = found;
        at_ = std::min(found + 1, lines.size());
        if (k + 1 < starts_.size()) {
            starts_[k + 1] = at_;
        }
        return found;
    }

    bool matte_;
    std::vector<std::optional<std::size_t>> starts_; ///< line that begins there, by file order
    std::map<std::size_t, std::string> kept_;
    std::vector<std::string> rows_; ///< of a matte
    long last_ = -1;
    std::size_t at_ = 0;
};

class Sequences : public SoftimageTest {
  protected:
    /// The result of reading `line` of the model into a host line of `before`.
    static std::string expected(const Model& model, std::size_t line, bool matte, long width,
                                std::string before) {
        const bool none = line >= model.lines.size() || model.lines[line].empty();
        if (!matte) {
            return none ? std::string(before.size(), '\0') : model.lines[line];
        }
        for (long x = 0; !none && (model.lines[line][0] & 1) != 0 && x < width; ++x) {
            char& byte = before[static_cast<std::size_t>(x / 8)];
            byte = static_cast<char>(byte | 1 << x % 8);
        }
        return before;
    }

    void writeAndRead(Dice& dice) {
        const bool matte = dice.roll(3) == 0;
        const long width = dice.between(1, 40);
        const long height = dice.between(1, 9);
        const auto rows = static_cast<std::size_t>(height);
        const auto side = static_cast<std::size_t>(width);
        const std::size_t lineBytes = matte ? (side + 7) / 8 : side * 4;
        const std::string path = folder / (matte ? "a.tag" : "a.pic");
        // Sometimes the first line is never sent; then only whole pictures are written.
        const long highest = std::max(0L, height - 1 - (dice.roll(4) == 0 ? 1 : 0));
        Model model(height, matte);
        filter.disconnectFromFile();
        filter.tagChannelCount = 1;
        ASSERT_EQ(filter.write(path, width, height, matte ? 1 : 0), 0);
        for (auto turns = dice.roll(3 * rows); turns > 0; --turns) {
            if (dice.roll(12) == 0) {
                const std::string block = dice.bytes(lineBytes * rows);
                ASSERT_EQ(filter.putAll(block), 0);
                model.putAll(block);
            } else {
                // Mostly from the top; otherwise little would be written before the file is closed.
                const long y = dice.roll(2) == 0
                                   ? dice.between(0, highest)
                                   : std::clamp(height - 2L - filter.lastWrittenLine, 0L, highest);
                const std::string line = dice.bytes(matte ? side : lineBytes);
                ASSERT_EQ(filter.put(line, y), 0);
                model.put(y, line);
            }
        }
        model.close();
        ASSERT_EQ(filter.read(path), 0);
        for (auto turns = dice.roll(3 * rows); turns > 0; --turns) {
            const std::string before = dice.bytes(lineBytes * rows);
            if (dice.roll(8) == 0) {
                std::string block = before;
                ASSERT_EQ(filter.getAll(block), 0);
                const auto found = model.getAll();
                for (std::size_t y = 0; y < rows; ++y) {
                    ASSERT_EQ(block.substr(y * lineBytes, lineBytes),
                              expected(model, found[y], matte, width,
                                       before.substr(y * lineBytes, lineBytes)))
                        << "row " << y;
                }
            } else {
                const long y = dice.between(0, height - 1);
                std::string line = before.substr(0, lineBytes);
                ASSERT_EQ(filter.get(line, y), 0);
                ASSERT_EQ(line,
                          expected(model, model.get(y), matte, width, before.substr(0, lineBytes)))
                    << "line " << y;
            }
        }
    }
};

TEST_F(Sequences, DoWhatTheRulesSayLineByLine) {
    const support::CaptureStderr said;
    for (unsigned seed = 0; seed < 300; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Dice dice(seed);
        ASSERT_NO_FATAL_FAILURE(writeAndRead(dice));
    }
}

} // namespace
