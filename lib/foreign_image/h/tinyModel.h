// SPDX-License-Identifier: MIT
// Models: trees of named nodes, each with its transformation and contents; the hierarchy file
// (".hrc") in a text and a binary flavour; and the animation form of a tree inside a scene file,
// after the word "HIERARCHY".
#pragma once

#include "tinyOpaque.h"
#include "tinyUtils.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>

struct Prototype;
struct UserData;

/// Index of each curve in `Model::curves`.
enum ModelCurve : std::uint8_t {
    kModelScalingX,
    kModelScalingY,
    kModelScalingZ,
    kModelRotationX, ///< rotation curves hold degrees, like the file
    kModelRotationY,
    kModelRotationZ,
    kModelTranslationPath, ///< timing of the translation along its path or path model
    kModelTranslationX,
    kModelTranslationY,
    kModelTranslationZ,
    kModelHidden,
    kModelAlgorithm,
    kModelCurveCount
};

/// `Model::shapeInterpolation`.
enum ModelShapeInterpolation : std::int16_t {
    kModelShapeUnset = 0,
    kModelShapeLinear = 1,
    kModelShapeCardinal = 2
};

/// One shape that a node can be blended towards, an element of the node's list.
struct ModelShape {
    char* name;               ///< owned; may be null
    Fcurve* interpolation;    ///< owned; may be null
    Fcurve** weights;         ///< `weightCount` owned curves in an owned array; may be null
    std::int32_t weightCount; ///< curves in `weights`
    ModelShape* next;
};

/// A node of a tree. A node owns everything below it: contents and children.
struct Model {
    char* name; ///< owned; may be null
    Model* parent;
    Model* next;  ///< the next child of the same parent, null for the last
    Model* child; ///< the first of this node's children, null for a leaf

    float scaling[3];             ///< x, y, z factors
    float rotation[3];            ///< about x, y, z in radians (degrees in every text form)
    AnimatedPosition translation; ///< `translation.fixed` is the plain x, y, z

    // Further contents of the hierarchy file.
    Opaque* contents;   ///< blocks kept as text, in file order: mesh, patch, face, clusters, ...
    Spline** splines;   ///< `splineCount` owned splines in an owned array; may be null
    UserData* userData; ///< list of user-data blocks in file order, owned

    std::int32_t splineCount; ///< splines in `splines`

    // Further contents of the animation form of a scene; the four numbers marked (b) are in the
    // binary hierarchy file too.
    std::int16_t hidden;              ///< (b) non-zero: not shown
    std::int16_t wireColour;          ///< (b)
    std::int16_t lineType;            ///< (b)
    std::int16_t selection;           ///< (b) 0 unselected, 1 node, 2 branch, 3 inherit selected
    std::int16_t boundingBox;         ///< non-zero: shown as its bounding box
    std::int16_t algorithm;           ///< selector number of the algorithm channel
    std::int16_t shapeInterpolation;  ///< a `ModelShapeInterpolation`
    ModelShape* shapes;               ///< owned list in file order
    Opaque* animationContents;        ///< blocks of the animation form kept as text, in file order
    Fcurve* curves[kModelCurveCount]; ///< owned; null where the parameter is not animated
};

/// Maximum number of nodes, and so levels, of a tree in a file: 300 MB of memory. No function
/// recurses over a tree.
inline constexpr std::size_t kModelMaxNodes = std::size_t{1} << 20;

/// Maximum depth of a tree in a written hierarchy file of the text flavour: it indents every level
/// by two blanks, so its size grows with the square of the depth.
inline constexpr int kModelMaxTextDepth = 4096;

/// A new zero-filled node (its scaling too: set it), or null when out of memory.
[[nodiscard]] Model* modelAllocate();

/// Cuts the node from its parent, frees it with everything it owns, its whole subtree included,
/// and sets `*model` to null. Accepts null.
void modelDispose(Model** model);

struct ModelDisposer {
    void operator()(Model* model) const noexcept { modelDispose(&model); }
};

/// Appends `child`, with its subtree, to the children of `parent`. Returns 1, or 0 when a pointer
/// is null, when the child already has a parent, or when it is `parent` or one of its ancestors.
int modelCreateParentship(Model* parent, Model* child);

/// Detaches the node, with its subtree, from its parent. Returns 1 (also for a node without a
/// parent, which is unchanged), or 0 when the node is null or not among its parent's children.
int ModelCut(Model* model);

/// The next node of a walk through the whole tree, a parent before its children, or null at its
/// end. The walk does not stop at the end of the subtree where it began.
[[nodiscard]] Model* modelNextNode(const Model* model);

/// The first node with exactly that name: `start` itself, then the nodes that `modelNextNode`
/// returns from there on. Null when there is none or an argument is null.
[[nodiscard]] Model* modelNodeFindByName(Model* start, const char* name);

/// Writes the tree to the file "`baseName`.hrc", as text (`flavour` 0) or binary (1). Returns 1,
/// or 0 when an argument is null, for another flavour (no file is touched), when the file cannot
/// be opened or written, or, with no file touched, when the tree does not fit the format (more
/// nodes than `kModelMaxNodes`, a null spline, as text more levels than `kModelMaxTextDepth`, or in
/// the binary form more than 65,535 of anything in one node).
[[nodiscard]] int modelWriteFile(const char* baseName, const Model* root, int flavour);

/// Reads the file "`baseName`.hrc" of either flavour. Returns the root, which the caller owns, or
/// null when the file cannot be opened or read, is of another kind, has no node, has more nodes
/// than the limit, or (binary only) ends too early.
[[nodiscard]] Model* modelReadFile(const char* baseName);

/// Writes the node and its subtree as the text flavour's body, with `prefix` before every line.
/// Returns 1, or 0 when an argument is null, the tree is too deep or the stream has failed.
int modelWriteAscii(std::FILE* stream, const Model* root, const char* prefix);

/// Reads a node and its subtree of the text flavour; the word "model" has been read. Returns the
/// node, which the caller owns, or null when the tree is too large, when out of memory, or
/// when reading failed. A file that ends too early gives the nodes read so far.
[[nodiscard]] Model* modelReadAscii(std::FILE* stream);

/// Writes the node and its subtree as the binary flavour's body, with the fields of the model list
/// of `prototype`, and the splines with its spline lists. Returns 1, or 0 as `modelWriteFile`.
int modelWriteBinary(std::FILE* stream, const Model* root, const Prototype* prototype);

/// Reads a node and its subtree of the binary flavour, with the fields of the model list of
/// `prototype`. Returns the node, which the caller owns, or null as `modelReadFile`.
[[nodiscard]] Model* modelReadBinary(std::FILE* stream, const Prototype* prototype);

/// Writes the tree in the animation form, one indentation level deeper than the current one.
/// Returns 0 when `root` is null, else 1.
int objectWriteAsciiAnimation(std::FILE* stream, const Model* root);

/// Reads a tree of the animation form into `*root`, which the caller then owns; discards it when
/// `root` is null. The word "HIERARCHY" is still the current token when it is called. Returns 1
/// with the first token after the tree as the current one, or 0 at the end of the file, even if the
/// tree itself is complete. `*root` is null when the block has no node.
int objectReadAsciiAnimation(std::FILE* stream, Model** root);

/// Appends `userData` to the node's list; the node then owns it. Returns 1, or 0 when an argument
/// is null or the block is in the list already.
int modelAttachUserData(Model* model, UserData* userData);

/// The node's first user-data block with the four characters of `tag`, or null. The node keeps it.
[[nodiscard]] UserData* modelSearchUserData(const Model* model, const char* tag);

/// Takes `*userData` out of the node's list, frees it and sets the pointer to null. Does nothing
/// when the block is not in the list.
void nodeldisposeUserData(Model* model, UserData** userData);
