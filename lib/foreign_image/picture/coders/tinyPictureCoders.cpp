// SPDX-License-Identifier: MIT
// Selects the forms of the coders that this machine can run.
#include "tinyPictureCoders.h"

#include "base/processor.h"
#include "tinyPictureCoderTable.h"

#include <array>

namespace {

struct Runnable {
    std::array<const CoderTable*, 4> tables = {&kPortableCoders};
    std::size_t count = 1;

    Runnable() {
#ifdef TDR_X86_CODERS
        if (base::processorHasSsse3()) {
            tables[count++] = &kSsse3Coders;
        }
        if (base::processorHasAvx2()) {
            tables[count++] = &kAvx2Coders;
        }
        if (base::processorHasAvx512()) {
            tables[count++] = &kAvx512Coders;
        }
#endif
    }
};

const CoderTable* chosen = nullptr;

} // namespace

std::span<const CoderTable* const> coderTables() {
    static const Runnable runnable;
    return {runnable.tables.data(), runnable.count};
}

const CoderTable* codersInUse() {
    return chosen != nullptr ? chosen : coderTables().back();
}

void codersUse(const CoderTable* table) {
    chosen = table;
}
