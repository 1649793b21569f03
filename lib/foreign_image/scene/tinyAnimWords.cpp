// SPDX-License-Identifier: MIT
#include "curve/tinyCurveWords.h"
#include "tinySceneInner.h"

void animWords(void (*take)(void* context, const char* word), void* context) {
    constexpr void (*kLists[])(const table::WordTaker&) = {
        sceneListWords,     renderListWords, cameraListWords, lightListWords,     modelListWords,
        modelListFileWords, fcurveListWords, splineListWords, splineListFileWords};
    for (const auto list : kLists) {
        list({take, context});
    }
}
