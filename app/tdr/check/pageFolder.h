// SPDX-License-Identifier: MIT
// The folder of a page: index.html, and the folder images-N with what it shows. A hidden file in
// images-N marks it as ours.
#pragma once

#include "base/uniqueFd.h"
#include "files/replacedFile.h"
#include "tdr/interruptGuard.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

/// True if the folder holds the images of a page.
[[nodiscard]] bool isPageImages(const std::filesystem::path& folder);

/// Until `commit` an older page is unchanged: the new one has a folder of images of its own, and
/// index.html is put in place at the very end. Without `commit` everything new is removed.
class PageFolder {
  public:
    /// Makes the folder if it is missing. Fails if it has content, unless a page may be put beside
    /// it, or if another process is writing a page there. Images without a page, of a run that was
    /// killed, are no content.
    static Outcome<std::unique_ptr<PageFolder>> begin(const std::string& folder, bool force);
    ~PageFolder();
    PageFolder(const PageFolder&) = delete;
    PageFolder& operator=(const PageFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    /// The folder of images, as the page names it.
    [[nodiscard]] const std::string& images() const { return images_; }

    /// Puts the page in place and removes the images of older ones.
    Outcome<void> commit(const std::string& html);

  private:
    PageFolder() = default;
    Outcome<void> open(bool force);
    [[nodiscard]] Outcome<bool> isEmpty() const;
    Outcome<void> makeImages();
    void removeImages(const std::string& name) const;

    tdr::InterruptGuard::Cleanup cleanup_;
    std::filesystem::path path_; ///< without links, so that it stays the same one
    bool made_ = false;
    base::UniqueFd lock_;
    std::string images_;
    std::optional<ReplacedFile> index_;
    bool committed_ = false;
};
