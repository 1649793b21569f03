// SPDX-License-Identifier: MIT
// The scene record: allocation, disposal, and its lists.
#include "tinyScene.h"

#include "file/tinyUtilsGrow.h"
#include "tinyFcurve.h"
#include "tinySceneInner.h"
#include "tinySpline.h"

#include <cstdlib>

namespace {

constexpr std::int16_t kDefaultFrameEnd = 100;
constexpr std::int16_t kDefaultRate = 30;

/// The end of a list without an element for which `is` is true; null if there is one.
template <typename Element, typename Is>
Element** endWithout(Element** link, Is is) {
    while (*link != nullptr) {
        if (is(**link)) {
            return nullptr;
        }
        link = &(*link)->next;
    }
    return link;
}

template <typename Element>
Element** listEnd(Element** link) {
    return endWithout(link, [](const Element&) { return false; });
}

/// Appends a new list element that holds `owned`, unless one holds it already.
template <auto Member, typename Element, typename Owned>
int append(Element** list, Owned* owned) {
    Element** const end =
        endWithout(list, [owned](const Element& element) { return element.*Member == owned; });
    auto* element = end != nullptr ? newRecords<Element>(1) : nullptr;
    if (element == nullptr) {
        return 0;
    }
    element->*Member = owned;
    *end = element;
    return 1;
}

/// Frees a list with `dispose`, which frees one element only.
template <typename Element, typename Dispose>
void disposeList(Element** list, Dispose dispose) {
    while (*list != nullptr) {
        Element* rest = (*list)->next;
        dispose(*list);
        *list = rest;
    }
}

void disposeLists(Scene* scene) {
    disposeList(&scene->lights, [](Light* light) { lightDispose(&light); });
    disposeList(&scene->hierarchies, [](SceneHierarchy* element) {
        modelDispose(&element->root);
        std::free(element);
    });
    disposeList(&scene->splines, [](SceneSpline* element) {
        splineDispose(&element->spline);
        std::free(element);
    });
    opaqueDispose(&scene->wave);
}

} // namespace

Scene* sceneAllocate() {
    auto* scene = newRecords<Scene>(1);
    if (scene != nullptr) {
        scene->frameStart = 1;
        scene->frameEnd = kDefaultFrameEnd;
        scene->frameThird = 1;
        scene->frameFourth = 1;
        scene->rate = kDefaultRate;
        renderInitialize(&scene->rendering);
        cameraInitialize(&scene->camera);
    }
    return scene;
}

void sceneDispose(Scene** scene) {
    if (scene == nullptr || *scene == nullptr) {
        return;
    }
    std::free((*scene)->name);
    for (char* path : (*scene)->paths) {
        std::free(path);
    }
    renderDisposeParts(&(*scene)->rendering);
    cameraDisposeParts(&(*scene)->camera);
    disposeLists(*scene);
    std::free(*scene);
    *scene = nullptr;
}

int sceneAppendLight(Scene* scene, Light* light) {
    if (scene == nullptr || light == nullptr) {
        return 0;
    }
    Light** const end =
        endWithout(&scene->lights, [light](const Light& one) { return &one == light; });
    if (end == nullptr) {
        return 0;
    }
    *end = light;
    return 1;
}

int sceneAppendHierarchy(Scene* scene, Model* root) {
    return scene != nullptr && root != nullptr
               ? append<&SceneHierarchy::root>(&scene->hierarchies, root)
               : 0;
}

int sceneAppendSpline(Scene* scene, Spline* spline) {
    return scene != nullptr && spline != nullptr
               ? append<&SceneSpline::spline>(&scene->splines, spline)
               : 0;
}

SceneDraft sceneOpen(Scene* scene) {
    return {scene, listEnd(&scene->lights), listEnd(&scene->hierarchies), listEnd(&scene->splines),
            listEnd(&scene->wave)};
}
