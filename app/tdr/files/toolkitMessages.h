// SPDX-License-Identifier: MIT
// The messages of the file toolkit, taken from standard error.
#pragma once

#include "base/uniqueFile.h"

#include <functional>
#include <string_view>

/// While it exists, each message of the toolkit goes to `take`, with its newline; one that needs
/// more memory than there is is lost. At most one at a time, because the toolkit's settings are
/// process-wide.
class ToolkitMessages {
  public:
    using Take = std::function<void(std::string_view message)>;

    explicit ToolkitMessages(Take take);
    ~ToolkitMessages();
    ToolkitMessages(const ToolkitMessages&) = delete;
    ToolkitMessages& operator=(const ToolkitMessages&) = delete;

  private:
    Take take_;
    base::UniqueFile stream_;
};
