// SPDX-License-Identifier: MIT
#include "sceneWords.h"

#include "output/nearest.h"
#include "tinyAnimNotice.h"

#include <set>
#include <vector>

namespace {

constexpr std::size_t kShortest = 3; ///< shorter words are like too many others

std::vector<std::string> knownWords() {
    std::set<std::string> words;
    animWords(
        [](void* context, const char* word) {
            if (std::string_view(word).size() >= kShortest) {
                static_cast<std::set<std::string>*>(context)->insert(word);
            }
        },
        &words);
    return {words.begin(), words.end()};
}

} // namespace

std::string hintFor(std::string_view word) {
    static const std::vector<std::string> known = knownWords();
    if (word.size() < kShortest) {
        return {};
    }
    const std::string meant = nearest(word, known);
    return meant.empty() || meant == word ? "" : " (did you mean " + meant + "?)";
}
