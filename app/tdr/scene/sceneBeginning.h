// SPDX-License-Identifier: MIT
// The first bytes of a file, which tell what it is.
#pragma once

#include "tinyFile.h"

#include <array>
#include <cstddef>
#include <string_view>

/// As much of a header as the file has, and the type of its contents.
class SceneBeginning {
  public:
    /// False, with errno set, when it cannot be read.
    bool read(int fd);

    [[nodiscard]] std::string_view first() const { return {bytes_.data(), kTypeSize}; }
    /// Of a binary file, that behind the section of prototypes if it has one.
    [[nodiscard]] std::string_view type() const { return {contents_.data(), kTypeSize}; }
    [[nodiscard]] bool isBinary() const;
    /// False if the file ends inside its header.
    [[nodiscard]] bool isWhole() const { return size_ == bytes_.size(); }
    /// True for a picture or matte, whatever the name of its file.
    [[nodiscard]] bool isPicture() const;

  private:
    static constexpr std::size_t kTypeSize = 4;
    std::array<char, kFileHeaderSize + kTypeSize> bytes_ = {};
    std::size_t size_ = 0;
    std::array<char, kTypeSize> contents_ = {};
};
