// SPDX-License-Identifier: MIT
// A tree of nodes: the root on the left, children to the right of their parent, one row for each
// leaf.
#include "drawings.h"
#include "output/formatted.h"
#include "output/utf8Text.h"
#include "scene/sceneFields.h"
#include "scene/sceneWalk.h"
#include "svg.h"

#include <algorithm>
#include <vector>

namespace {

constexpr double kMargin = 40;
constexpr double kHeader = 76;
constexpr double kRow = 64;         // from one leaf to the next
constexpr double kBox = 46;         // height of a node
constexpr double kGap = 46;         // between the columns, for the branches
constexpr double kTreeGap = 36;     // between two trees
constexpr double kNameLetter = 8.4; // usual width of a letter of a name
constexpr double kNoteLetter = 6.8; // and of a note
constexpr double kLeastWidth = 420;
constexpr std::size_t kMostNodes = 400;
constexpr std::size_t kMostDepth = 24;
constexpr std::size_t kNameColumns = 28;
constexpr std::size_t kNoteColumns = 40;
constexpr std::size_t kTitleColumns = 60;

constexpr const char* kStyle =
    ".branch{fill:none;stroke:#9aa4b2;stroke-width:1.6}"
    ".node{fill:#eff6ff;stroke:#2563eb;stroke-width:1.4}"
    ".root{fill:#dbeafe;stroke:#1d4ed8;stroke-width:2}.hidden{stroke-dasharray:5 3}"
    ".more{fill:#4b5563;font-size:11px}.note{font-size:11px;fill:#4b5563}";

/// A node with its position in columns and rows.
struct Placed {
    const Model* node;
    std::size_t depth;
    double row;
    std::size_t firstChild = 0; ///< index among the placed; 0: none is shown
    std::size_t lastChild = 0;
    std::size_t hidden = 0; ///< nodes below that are not shown
};

bool isMoved(const Model& node) {
    const Vector& v = node.translation.fixed;
    return v.x != 0 || v.y != 0 || v.z != 0;
}

std::string triple(double x, double y, double z) {
    return formatted("{:.4g} {:.4g} {:.4g}", x, y, z);
}

/// The node's contents in one line: the kept blocks' words, splines, curves.
std::string contentsOf(const Model& node) {
    std::string text;
    const auto add = [&](const std::string& part) { text += (text.empty() ? "" : ", ") + part; };
    for (const Opaque* list : {node.contents, node.animationContents}) {
        for (int i = 0; list != nullptr && i < 8; list = list->next, ++i) {
            add(utf8Text(std::string_view(list->text, opaqueWordLength(list))));
        }
    }
    if (node.splineCount > 0) {
        add(node.splineCount == 1 ? "spline" : formatted("{} splines", node.splineCount));
    }
    const auto curves =
        std::ranges::count_if(node.curves, [](const Fcurve* curve) { return curve != nullptr; });
    if (curves > 0) {
        add(counted(curves, "curve"));
    }
    if (node.userData != nullptr) {
        add("user data");
    }
    return text;
}

/// The line under a node's name: its contents, or else its position.
std::string noteOf(const Model& node) {
    const std::string contents = contentsOf(node);
    const Vector& v = node.translation.fixed;
    const std::string place =
        isMoved(node) ? "at " + triple(shortest(v.x), shortest(v.y), shortest(v.z)) : "";
    return place + (place.empty() || contents.empty() ? "" : " · ") + contents;
}

/// The tooltip of a node: its full name and transformation.
std::string titleOf(const Model& node) {
    const Vector& v = node.translation.fixed;
    const auto& r = node.rotation;
    const auto& s = node.scaling;
    return formatted("{}: translation {}, rotation {} degrees, scaling {}", utf8Text(node.name),
                     triple(shortest(v.x), shortest(v.y), shortest(v.z)),
                     triple(degrees(r[0]), degrees(r[1]), degrees(r[2])),
                     triple(shortest(s[0]), shortest(s[1]), shortest(s[2])));
}

/// Places the shown nodes of a tree in columns and rows: leaves one below the other, a parent at
/// the middle of its children. `row` is the first free row, before and after.
std::vector<Placed> placeTree(const Model* root, std::size_t room, double& row) {
    std::vector<Placed> placed;
    std::vector<std::size_t> nearest; // nearest shown node at each level on the way down
    for (const auto& [node, depth] : nodesOf(root)) {
        nearest.resize(depth);
        const bool isUnderShown = depth == 0 || placed[nearest.back()].node == node->parent;
        if (depth > 0 && !(isUnderShown && placed.size() < room && depth <= kMostDepth)) {
            ++placed[nearest.back()].hidden;
            nearest.push_back(nearest.back());
            continue;
        }
        const std::size_t index = placed.size();
        placed.push_back({node, depth, 0});
        if (depth > 0) {
            Placed& above = placed[nearest.back()];
            above.firstChild = above.firstChild == 0 ? index : above.firstChild;
            above.lastChild = index;
        }
        nearest.push_back(index);
    }
    for (Placed& entry : placed) {
        if (entry.firstChild == 0) {
            entry.row = row++;
        }
    }
    for (auto entry = placed.rbegin(); entry != placed.rend(); ++entry) {
        if (entry->firstChild != 0) {
            entry->row = (placed[entry->firstChild].row + placed[entry->lastChild].row) / 2;
        }
    }
    return placed;
}

/// All trees, with columns that fit their widest nodes.
class TreePlot {
  public:
    TreePlot(const SceneDocument& document, const std::string& title) : title_(title) {
        double row = 0;
        for (const Model* root : treesOf(document)) {
            if (shown_ < kMostNodes) {
                trees_.push_back(placeTree(root, kMostNodes - shown_, row));
                shown_ += trees_.back().size();
            }
            all_ += nodesOf(root).count();
        }
        for (const auto& tree : trees_) {
            for (const Placed& entry : tree) {
                widths_.resize(std::max(widths_.size(), entry.depth + 1));
                widths_[entry.depth] = std::max(widths_[entry.depth], widthOf(*entry.node));
            }
        }
        height_ = kHeader + row * kRow + static_cast<double>(trees_.size()) * kTreeGap;
    }

    [[nodiscard]] Plot draw() const {
        const double width = std::max(columnAt(widths_.size()) + kMargin, kLeastWidth);
        Svg svg(width, height_, std::string(kPlotStyle) + kStyle, title_);
        const double columns = (width - 2 * kMargin) / 12;
        svg.text("title", {kMargin, 42},
                 shortened(title_, std::min(kTitleColumns, static_cast<std::size_t>(columns))));
        drawKey(svg);
        double top = kHeader;
        for (const auto& tree : trees_) {
            svg.begin("tree");
            for (const Placed& entry : tree) {
                drawBranches(svg, tree, entry, top);
            }
            for (const Placed& entry : tree) {
                drawNode(svg, entry, top);
            }
            svg.end();
            top += kTreeGap;
        }
        return {svg.take(),
                shown_ == all_ ? "" : formatted("{} of {} nodes are drawn", shown_, all_)};
    }

  private:
    static double widthOf(const Model& node) {
        const double name = static_cast<double>(columnsOf(nameOf(node))) * kNameLetter;
        const double note =
            static_cast<double>(columnsOf(std::string_view(shortened(noteOf(node), kNoteColumns))));
        return std::max({name, note * kNoteLetter, 60.0}) + 24;
    }

    static std::string nameOf(const Model& node) {
        return shortened(node.name != nullptr ? utf8Text(node.name) : "(no name)", kNameColumns);
    }

    [[nodiscard]] bool hasAny(bool (*test)(const Placed&)) const {
        return std::ranges::any_of(trees_, [&](const std::vector<Placed>& tree) {
            return std::ranges::any_of(tree, test);
        });
    }

    /// Draws the key to the marks that are not in every tree.
    void drawKey(Svg& svg) const {
        constexpr double y = 64;
        if (hasAny([](const Placed& entry) { return entry.node->hidden != 0; })) {
            svg.rect("node hidden", {kMargin, y - 11}, 30, 14, 3);
            svg.text("note", {kMargin + 38, y}, "hidden in the scene");
        }
        if (hasAny([](const Placed& entry) { return entry.hidden != 0; })) {
            svg.text("more", {kMargin + 180, y}, "+9");
            svg.text("note", {kMargin + 204, y}, "so many nodes below are not drawn");
        }
    }

    [[nodiscard]] double columnAt(std::size_t depth) const {
        double x = kMargin;
        for (std::size_t i = 0; i < depth; ++i) {
            x += widths_[i] + kGap;
        }
        return x;
    }

    static double middleOf(const Placed& entry, double top) {
        return top + entry.row * kRow + kBox / 2;
    }

    void drawBranches(Svg& svg, const std::vector<Placed>& tree, const Placed& entry,
                      double top) const {
        const double from = columnAt(entry.depth) + widths_[entry.depth];
        if (entry.hidden != 0) {
            svg.text("more", {from + 8, middleOf(entry, top) - 6}, formatted("+{}", entry.hidden));
        }
        for (std::size_t i = entry.firstChild; i != 0 && i <= entry.lastChild; ++i) {
            if (tree[i].node->parent == entry.node) {
                const SvgPoint a = {from, middleOf(entry, top)};
                const SvgPoint b = {from + kGap, middleOf(tree[i], top)};
                svg.path("branch", Svg::moveTo(a) + Svg::curveTo({a.x + kGap / 2, a.y},
                                                                 {b.x - kGap / 2, b.y}, b));
            }
        }
    }

    void drawNode(Svg& svg, const Placed& entry, double top) const {
        const Model& node = *entry.node;
        const double x = columnAt(entry.depth);
        const double y = middleOf(entry, top) - kBox / 2;
        const std::string note = shortened(noteOf(node), kNoteColumns);
        svg.begin("item", titleOf(node));
        svg.rect(formatted("node{}{}", entry.depth == 0 ? " root" : "",
                           node.hidden != 0 ? " hidden" : "")
                     .c_str(),
                 {x, y}, widths_[entry.depth], kBox, 7);
        svg.text("name", {x + 12, y + (note.empty() ? 28 : 20)}, nameOf(node));
        if (!note.empty()) {
            svg.text("note", {x + 12, y + 36}, note);
        }
        svg.end();
    }

    const std::string& title_;
    std::vector<std::vector<Placed>> trees_;
    std::vector<double> widths_; ///< of the columns
    double height_ = 0;
    std::size_t shown_ = 0;
    std::size_t all_ = 0;
};

} // namespace

Outcome<Plot> plotTrees(const SceneDocument& document, const std::string& title) {
    if (treesOf(document).empty()) {
        return Problem{ExitCode::Failed, "no trees"};
    }
    return TreePlot(document, title).draw();
}
