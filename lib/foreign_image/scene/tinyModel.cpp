// SPDX-License-Identifier: MIT
// The model node and its tree: allocation, disposal, linking, walking, searching.
#include "tinyModel.h"
#include "file/tinyUtilsGrow.h"
#include "tinyFcurve.h"
#include "tinyFile.h"
#include "tinyModelInner.h"
#include "tinySpline.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

Model* modelAllocate() {
    return newRecords<Model>(1);
}

namespace {

void disposeSplines(Model* model) {
    for (std::int32_t i = 0; i < model->splineCount; ++i) {
        splineDispose(&model->splines[i]);
    }
    std::free(static_cast<void*>(model->splines));
}

void disposeUserDataList(Model* model) {
    while (model->userData != nullptr) {
        UserData* rest = model->userData->next;
        userDataDispose(&model->userData);
        model->userData = rest;
    }
}

void disposeShapes(Model* model) {
    while (model->shapes != nullptr) {
        ModelShape* rest = model->shapes->next;
        modelShapeDispose(&model->shapes);
        model->shapes = rest;
    }
}

/// Frees one node with what it owns except its children.
void disposeNode(Model* model) {
    std::free(model->name);
    positionClear(&model->translation);
    opaqueDispose(&model->contents);
    opaqueDispose(&model->animationContents);
    disposeSplines(model);
    disposeUserDataList(model);
    disposeShapes(model);
    fcurveArrayDispose(model->curves, kModelCurveCount);
    std::free(model);
}

Model* lastSibling(Model* model) {
    while (model->next != nullptr) {
        model = model->next;
    }
    return model;
}

bool isNodeOrAncestor(const Model* candidate, const Model* node) {
    while (node != nullptr && node != candidate) {
        node = node->parent;
    }
    return node == candidate;
}

} // namespace

ModelShape* modelShapeAllocate() {
    return newRecords<ModelShape>(1);
}

void modelShapeDispose(ModelShape** shape) {
    if (shape == nullptr || *shape == nullptr) {
        return;
    }
    std::free((*shape)->name);
    fcurveDispose(&(*shape)->interpolation);
    for (std::int32_t i = 0; i < (*shape)->weightCount; ++i) {
        fcurveDispose(&(*shape)->weights[i]);
    }
    std::free(static_cast<void*>((*shape)->weights));
    std::free(*shape);
    *shape = nullptr;
}

void modelDispose(Model** model) {
    if (model == nullptr || *model == nullptr) {
        return;
    }
    ModelCut(*model);
    // Children join the list of nodes to free, so that a deep tree needs no stack.
    Model* pending = *model;
    pending->next = nullptr;
    while (pending != nullptr) {
        Model* node = pending;
        if (node->child != nullptr) {
            lastSibling(node->child)->next = node->next;
            pending = node->child;
        } else {
            pending = node->next;
        }
        disposeNode(node);
    }
    *model = nullptr;
}

void modelLinkChild(Model* parent, Model* lastChild, Model* child) {
    (lastChild != nullptr ? lastChild->next : parent->child) = child;
    child->parent = parent;
}

int modelCreateParentship(Model* parent, Model* child) {
    if (parent == nullptr || child == nullptr || child->parent != nullptr ||
        isNodeOrAncestor(child, parent)) {
        return 0;
    }
    modelLinkChild(parent, parent->child != nullptr ? lastSibling(parent->child) : nullptr, child);
    return 1;
}

int ModelCut(Model* model) {
    if (model == nullptr) {
        return 0;
    }
    if (model->parent == nullptr) {
        return 1;
    }
    Model** link = &model->parent->child;
    while (*link != nullptr && *link != model) {
        link = &(*link)->next;
    }
    if (*link == nullptr) {
        return 0;
    }
    *link = model->next;
    model->next = nullptr;
    model->parent = nullptr;
    return 1;
}

const Model* modelNextBelow(const Model* node, const Model* root, int& level) {
    if (node->child != nullptr) {
        ++level;
        return node->child;
    }
    for (; node != nullptr && node != root && node->next == nullptr; --level) {
        node = node->parent;
    }
    return node == nullptr || node == root ? nullptr : node->next;
}

Model* modelNextNode(const Model* model) {
    return model == nullptr ? nullptr : const_cast<Model*>(modelNextBelow(model, nullptr));
}

// Kept: The search continues past the start node's subtree.
// A reader would expect it to search only the start node and its subtree. It follows the walk to
// the end of the whole tree and may return a node outside the subtree.
Model* modelNodeFindByName(Model* start, const char* name) {
    if (name == nullptr) {
        return nullptr;
    }
    const std::string_view wanted = name;
    while (start != nullptr && (start->name == nullptr || wanted != start->name)) {
        start = modelNextNode(start);
    }
    return start;
}

int modelAttachUserData(Model* model, UserData* userData) {
    if (model == nullptr || userData == nullptr) {
        return 0;
    }
    UserData** end = &model->userData;
    while (*end != nullptr) {
        if (*end == userData) {
            return 0;
        }
        end = &(*end)->next;
    }
    userData->next = nullptr;
    *end = userData;
    return 1;
}

UserData* modelSearchUserData(const Model* model, const char* tag) {
    if (model == nullptr || tag == nullptr) {
        return nullptr;
    }
    UserData* block = model->userData;
    while (block != nullptr && std::strncmp(block->tag, tag, sizeof block->tag) != 0) {
        block = block->next;
    }
    return block;
}

void nodeldisposeUserData(Model* model, UserData** userData) {
    if (model == nullptr || userData == nullptr || *userData == nullptr) {
        return;
    }
    UserData** link = &model->userData;
    while (*link != nullptr && *link != *userData) {
        link = &(*link)->next;
    }
    if (*link == nullptr) {
        return;
    }
    UserData* block = *link;
    *link = block->next;
    userDataDispose(&block);
    *userData = nullptr;
}
