// SPDX-License-Identifier: MIT
#include "tinyOpaque.h"

#include "file/tinyUtilsGrow.h"
#include "tinyOpaqueRead.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

/// Maximum length of a significant word: no word of any table is longer.
constexpr std::size_t kWordSize = 64;

/// Reads and keeps a block's characters, and finds the end of the block.
class Scanner {
  public:
    Scanner(text::Reader& in, bool (*ends)(std::string_view))
        : in_(in), style_(in.style()), ends_(ends) {}

    /// Null when the block was too large or too deep, or out of memory.
    UniqueOpaque read(std::string_view firstWord) {
        for (const char c : firstWord) {
            feed(c);
        }
        if (!style_.bracesAlone) { // the blank that was consumed with the word
            feed(in_.line() > text::Reader::wordLine() ? '\n' : ' ');
        }
        while (!ended_) {
            if (feedAhead()) {
                continue;
            }
            const int c = in_.get();
            if (c == EOF) {
                break;
            }
            feed(static_cast<char>(c));
            if (ended_ && style_.bracesAlone && lookAhead_ != "}") {
                in_.unget(c); // the character after a word belongs to the next word
            }
        }
        if (!ended_ && !quoted_) {
            endWord();
        }
        return finish();
    }

    /// The word that ended the block; empty at end of file.
    [[nodiscard]] const std::string& lookAhead() const { return lookAhead_; }

    /// The file ended inside braces or quotes (which have been closed in the kept text), or a zero
    /// byte or the whole block was dropped.
    [[nodiscard]] bool cut() const { return cut_; }

  private:
    [[nodiscard]] bool isBlank(char c) const {
        return style_.blanks.find(c) != std::string_view::npos;
    }

    /// Keeps characters of a word, or blanks between words, or, inside braces, whatever is no brace
    /// and no quote, as many as the stream has ready. False if the next character is another one.
    bool feedAhead() {
        if (quoted_) {
            return false;
        }
        const bool braced = style_.bracesAlone && depth_ > 0;
        std::string_view run = braced ? in_.unbracedAhead() : in_.ordinaryAhead();
        if (braced) {
            keep(run); // no word ends the block here
        } else if (run.empty() && wordBytes_ == 0) {
            run = in_.blanksAhead();
            keep(run);
        } else if (wordBytes_ == 0 && run.starts_with(style_.quote)) {
            return false;
        } else {
            keep(run);
            wordLine_ = in_.line();
            wordBytes_ += run.size();
            word_.append(run.substr(0, kWordSize - std::min(kWordSize, word_.size())));
        }
        in_.take(run.size());
        return !run.empty();
    }

    void feed(char c) {
        if (c == '\0') {
            cut_ = true; // a kept text ends at its first zero byte, so it must not contain one
        } else if (quoted_) {
            keep(c);
            quoted_ = c != style_.quote;
        } else if (c == style_.quote && (style_.bracesAlone || wordBytes_ == 0)) {
            openQuote(c);
        } else if (style_.bracesAlone && (c == '{' || c == '}')) {
            brace(c);
        } else if (isBlank(c)) {
            endWord();
            if (!ended_) {
                keep(c);
            }
        } else {
            keep(c);
            wordLine_ = in_.line();
            ++wordBytes_;
            if (word_.size() < kWordSize) {
                word_.push_back(c);
            }
        }
    }

    void keep(char c) { keep(std::string_view(&c, 1)); }

    void keep(std::string_view characters) {
        dropped_ = dropped_ || text_.size() + characters.size() > kOpaqueMaxBytes ||
                   !text_.append(characters);
        if (dropped_) {
            text_.clear();
        }
    }

    void openQuote(char c) {
        endWord();
        if (ended_) {
            return;
        }
        keep(c);
        quoted_ = true;
        started_ = true;
    }

    void brace(char c) {
        endWord();
        if (ended_) {
            return;
        }
        if (c == '}' && depth_ == 0) {
            text::Reader::setWordLine(in_.line());
            end("}");
        } else {
            keep(c);
            nest(c);
        }
        started_ = true;
    }

    void nest(char c) {
        if (c == '{') {
            ++depth_;
            dropped_ = dropped_ || depth_ > kOpaqueMaxNesting;
        } else if (depth_ > 0) {
            --depth_;
        }
    }

    /// Examines the word that is now complete, if there is one.
    void endWord() {
        if (wordBytes_ == 0) {
            return;
        }
        if (started_ && depth_ == 0 && ends_(word_)) {
            text_.shrink(dropped_ ? text_.size() : wordBytes_);
            text::Reader::setWordLine(wordLine_);
            end(word_);
        } else if (!style_.bracesAlone && (word_ == "{" || word_ == "}")) {
            nest(word_[0]);
        }
        started_ = true;
        word_.clear();
        wordBytes_ = 0;
    }

    void end(const std::string& lookAhead) {
        lookAhead_ = lookAhead;
        ended_ = true;
    }

    UniqueOpaque finish() {
        cut_ = cut_ || dropped_ || quoted_ || depth_ > 0;
        if (dropped_) {
            return nullptr;
        }
        if (quoted_) {
            closeWith({&style_.quote, 1});
        }
        while (!text_.empty() && isBlank(text_.back())) {
            text_.shrink(1);
        }
        for (int i = 0; i < depth_; ++i) {
            closeWith(" }");
        }
        closeWith({"", 1}); // the zero byte at the end
        UniqueOpaque block(newRecords<Opaque>(1));
        if (block == nullptr || dropped_) {
            return nullptr;
        }
        block->text = text_.release();
        return block;
    }

    /// Appends to the kept text; it is dropped when out of memory.
    void closeWith(std::string_view characters) {
        dropped_ = !text_.append(characters) || dropped_;
    }

    text::Reader& in_;
    const text::Style& style_;
    bool (*ends_)(std::string_view);
    GrowingArray<char> text_; ///< the kept text
    std::string word_;        ///< the beginning of the word being read
    std::string lookAhead_;
    std::int64_t wordLine_ = 0; ///< line on which that word begins
    std::size_t wordBytes_ = 0; ///< length of that word
    int depth_ = 0;             ///< open braces
    bool started_ = false;      ///< the block's own first word is complete
    bool quoted_ = false;
    bool ended_ = false;
    bool dropped_ = false; ///< too large or too deep: only scanned from here on
    bool cut_ = false;
};

} // namespace

std::size_t opaqueWordLength(const Opaque* block) {
    return block == nullptr ? 0 : std::strcspn(block->text, " \t\n\v\f\r{}\"");
}

void opaqueDispose(Opaque** list) {
    while (list != nullptr && *list != nullptr) {
        Opaque* rest = (*list)->next;
        std::free((*list)->text);
        std::free(*list);
        *list = rest;
    }
}

UniqueOpaque opaqueAllocate(std::string_view text) {
    UniqueOpaque block(newRecords<Opaque>(1));
    if (block != nullptr && (block->text = newRecords<char>(text.size() + 1)) != nullptr) {
        text.copy(block->text, text.size());
        return block;
    }
    return nullptr;
}

void opaqueAppend(Opaque**& end, UniqueOpaque block) {
    if (block != nullptr) {
        *end = block.release();
        end = &(*end)->next;
    }
}

table::Outcome opaqueRead(text::Reader& in, std::string_view first, bool (*ends)(std::string_view),
                          Opaque**& end) {
    Scanner scanner(in, ends);
    opaqueAppend(end, scanner.read(first));
    if (scanner.cut()) {
        animNotify(
            AnimNoticeKind::Cut, in.c_str(),
            "a block of more than 64 MB or 256 levels of braces, with a zero byte, or without "
            "its end");
    }
    in.set(scanner.lookAhead());
    return table::again(scanner.lookAhead().empty() ? 0 : 1);
}
