// SPDX-License-Identifier: MIT
// Walks over the trees, nodes, splines and curves of a scene document, each with its owner. Nothing
// is collected, because files hold very many.
#pragma once

#include "sceneDocument.h"

#include <cstddef>
#include <functional>
#include <iterator>
#include <span>
#include <string>
#include <vector>

/// A tree node and its depth below its root (0).
struct SceneNode {
    const Model* node;
    std::size_t depth;
};

/// The nodes of one tree in walk order, for range-based loops.
class SceneNodes {
  public:
    explicit SceneNodes(const Model* root) : root_(root) {}

    class Iterator {
      public:
        explicit Iterator(const Model* root) : root_(root), at_{root, 0} {}
        const SceneNode& operator*() const { return at_; }
        Iterator& operator++();
        bool operator==(std::default_sentinel_t /*end*/) const { return at_.node == nullptr; }

      private:
        const Model* root_;
        SceneNode at_;
    };

    [[nodiscard]] Iterator begin() const { return Iterator(root_); }
    [[nodiscard]] static std::default_sentinel_t end() { return {}; }
    [[nodiscard]] std::size_t count() const;

  private:
    const Model* root_;
};

[[nodiscard]] inline SceneNodes nodesOf(const Model* root) {
    return SceneNodes(root);
}

/// The roots of the document's trees, in file order.
[[nodiscard]] std::vector<const Model*> treesOf(const SceneDocument& document);

/// Calls `visit` for every spline of the document with its owner ("path of the camera"; empty for
/// the document): the document's own splines, then paths of camera, lights and nodes, then the
/// splines of nodes.
using SplineVisitor = std::function<void(const Spline& spline, const std::string& owner)>;
void visitSplines(const SceneDocument& document, const SplineVisitor& visit);

/// A curve and what it animates.
struct OwnedCurve {
    const Fcurve* curve;
    const void* source; ///< the record of the curve; names need not be unique
    std::string owner;  ///< "camera", "light beam", "node flag"
    std::string group;  ///< "field of view"; curves of one source and group belong together
    std::string part;   ///< "x", "red" or empty
    const char* unit;
};

/// Calls `visit` for every curve in file order of the owners: rendering, camera, lights, trees.
/// Parameters without a curve are left out.
using CurveVisitor = std::function<void(const OwnedCurve& entry)>;
void visitCurves(const SceneDocument& document, const CurveVisitor& visit);

/// The keys in use.
[[nodiscard]] inline std::span<const FcvKey> keysOf(const Fcurve& curve) {
    return curve.keys == nullptr || curve.keyCount < 1
               ? std::span<const FcvKey>{}
               : std::span<const FcvKey>{curve.keys, static_cast<std::size_t>(curve.keyCount)};
}

/// The name of the curve's channel ("CAM_FOV"); empty if it has none.
[[nodiscard]] std::string channelOf(const Fcurve& curve);
