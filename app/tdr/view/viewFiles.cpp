// SPDX-License-Identifier: MIT
#include "viewFiles.h"

#include "batch/inputs.h"
#include "output/console.h"
#include "output/formatted.h"
#include "tdr/interruptGuard.h"

#include <algorithm>
#include <utility>

ViewFiles::ViewFiles(const DriverOptions& drivers, const ViewOptions& options)
    : drivers_(drivers), alpha_(options.alpha) {
    const FoundInputs found = findInputs({options.files, {}});
    std::ranges::for_each(found.notes, warn);
    for (const InputProblem& problem : found.problems) {
        exit_ = fail({ExitCode::Failed, problem.text});
    }
    for (const PlannedInput& input : found.inputs) {
        files_.push_back({input.path});
    }
    several_ = files_.size() > 1;
}

std::optional<ViewPicture> ViewFiles::read(int step, PixelSize room, int matte) {
    while (!files_.empty()) {
        const std::size_t count = files_.size();
        const std::size_t near = (current_ + count + static_cast<std::size_t>(step)) % count;
        auto read = readForView(drivers_, files_[near].name, alpha_, room, matte);
        if (read) {
            current_ = near;
            if (!std::exchange(files_[near].told, true)) {
                std::ranges::for_each(read->lines, passOn);
            }
            exit_ = read->damaged ? worse(exit_, ExitCode::Failed) : exit_;
            return std::move(*read);
        }
        exit_ = worse(exit_, fail(read.failure()));
        if (tdr::InterruptGuard::signal() != 0) {
            break;
        }
        leaveOut(near);
    }
    return {};
}

void ViewFiles::leaveOut(std::size_t file) {
    files_.erase(files_.begin() + static_cast<std::ptrdiff_t>(file));
    current_ -= file < current_ || current_ == files_.size() ? 1 : 0;
}

std::string ViewFiles::place() const {
    return several_ ? formatted("{} of {}", current_ + 1, files_.size()) : "";
}
