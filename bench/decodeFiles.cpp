// SPDX-License-Identifier: MIT
// The minimum for reading pictures: decodes the named files one after another through the toolkit.
#include "tinyPicture.h"

#include <memory>

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        const std::unique_ptr<Picture, PictureDisposer> picture(pictureReadFile(argv[i]));
        if (picture == nullptr) {
            return 1;
        }
    }
    return 0;
}
