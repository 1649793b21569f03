// SPDX-License-Identifier: MIT
#include "pageRow.h"

#include "checkText.h"
#include "output/formatted.h"
#include "output/utf8Text.h"

#include <cctype>
#include <system_error>

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMostRemarks = 20;

std::string percentEncoded(std::string_view path) {
    constexpr std::string_view kPlain = "-._~/";
    std::string text;
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        const bool plain =
            byte < 0x80 && (std::isalnum(byte) != 0 || kPlain.find(c) != kPlain.npos);
        text += plain ? std::string(1, c) : formatted("%{:02X}", byte);
    }
    return text;
}

/// A cell with the name of its column, which a narrow page shows, and what the column is sorted by.
std::string cell(const char* column, const std::string& html, const std::string& key) {
    return formatted("<td data-column=\"{}\" data-key=\"{}\">{}</td>\n", column, key, html);
}

/// Of a number, if there is one.
template <typename Number>
std::string numberCell(const char* column, const std::optional<Number>& number) {
    const std::string text = number ? formatted("{}", *number) : "";
    return cell(column, text, text);
}

std::string imageCell(const std::string& file, const std::optional<PageImage>& image,
                      const std::string& images) {
    if (!image) {
        return "<td class=\"image\"><span>no image</span></td>\n";
    }
    const std::string source = images + "/" + image->name;
    const std::string name = markupText(file);
    return image->isPlot
               ? formatted("<td class=\"image\"><a href=\"{0}\"><img loading=\"lazy\" src=\"{0}\" "
                           "alt=\"Drawing of {1}\"></a></td>\n",
                           source, name)
               : formatted("<td class=\"image\"><img loading=\"lazy\" src=\"{}\" width=\"{}\" "
                           "height=\"{}\" alt=\"Thumbnail of {}\"></td>\n",
                           source, image->size.width, image->size.height, name);
}

/// What is wrong with a file that failed, without its name.
std::string reasonOf(const std::string& file, const Problem& problem) {
    const bool named = problem.text.starts_with(file + ": ");
    return markupText(named ? problem.text.substr(file.size() + 2) : problem.text);
}

std::string remarksOf(const SceneReport& report) {
    std::string items;
    std::size_t shown = 0;
    for (; shown < report.remarks.size() && shown < kMostRemarks; ++shown) {
        const SceneRemark& remark = report.remarks[shown];
        const bool isLine = !remark.place.empty() && !remark.place.starts_with('b');
        items += formatted("<li>{}{}{}{}</li>", isLine ? "line " : "", remark.place,
                           remark.place.empty() ? "" : ": ", markupText(remark.text));
    }
    if (const std::size_t more = report.remarks.size() - shown + report.dropped; more > 0) {
        items += formatted("<li>and {} more</li>", more);
    }
    return items.empty() ? ""
                         : "<details><summary>remarks</summary><ul>" + items + "</ul></details>";
}

std::string fileCell(const std::string& file, const std::string& link,
                     const Outcome<FileCheck>& check) {
    const std::string name = markupText(file);
    const std::string verdict =
        check ? markupText(check->verdict) : reasonOf(file, check.failure());
    return cell("File",
                formatted("<a href=\"{}\">{}</a><p>{}</p>{}", link, name, verdict,
                          check && check->report ? remarksOf(*check->report) : ""),
                name);
}

std::string bytesCell(const std::string& file) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(file, error);
    return numberCell("Bytes", error ? std::nullopt : std::optional(size));
}

/// The words in the order in which the column sorts them.
struct State {
    const char* word;
    int rank;
};
State stateOf(const Outcome<FileCheck>& check) {
    if (check && check->whole) {
        return {"whole", 0};
    }
    return check || check.failure().cause == Cause::Damaged ? State{"damaged", 1}
                                                            : State{"failed", 2};
}

std::string intactCell(const CheckedLines* lines) {
    if (lines == nullptr) {
        return cell("Lines intact", "", "");
    }
    const double share = lines->count > 0 ? static_cast<double>(lines->intact) / lines->count : 0;
    return cell(
        "Lines intact",
        formatted("<meter value=\"{:.4f}\"></meter> {} of {}", share, lines->intact, lines->count),
        formatted("{:.6f}", share));
}

std::string sizeCell(const CheckedLines* lines) {
    return lines != nullptr ? cell("Size", formatted("{} × {}", lines->width, lines->count),
                                   formatted("{}", std::int64_t{lines->width} * lines->count))
                            : cell("Size", "", "");
}

} // namespace

std::string linkTo(const fs::path& file, const fs::path& folder) {
    std::error_code error;
    const fs::path whole = fs::absolute(file, error);
    const fs::path parent = fs::weakly_canonical(whole.parent_path(), error);
    return percentEncoded((parent / whole.filename()).lexically_relative(folder).string());
}

std::string rowOf(const std::string& file, const std::string& link, const Outcome<FileCheck>& check,
                  const std::optional<PageImage>& image, const std::string& images) {
    const State state = stateOf(check);
    const DamagePlace place = check ? damagePlaceOf(*check) : DamagePlace{};
    const CheckedLines* const lines = check && check->lines ? &*check->lines : nullptr;
    const std::string kind = check ? check->kind : "";
    return formatted("<tr class=\"{}\">\n", state.word) + imageCell(file, image, images) +
           fileCell(file, link, check) +
           cell("State", formatted("<b>{}</b>", state.word), formatted("{}", state.rank)) +
           intactCell(lines) + numberCell("First bad line", place.line) +
           numberCell("At byte", place.byte) + cell("Kind", kind, kind) + sizeCell(lines) +
           bytesCell(file) + "</tr>\n";
}
