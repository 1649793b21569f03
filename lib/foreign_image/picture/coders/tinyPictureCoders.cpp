// SPDX-License-Identifier: MIT
// Selects the forms of the coders that this machine can run.
#include "tinyPictureCoders.h"

#include "tinyPictureCoderTable.h"

#include <array>

namespace {

struct Runnable {
    std::array<const CoderTable*, 4> tables = {&kPortableCoders};
    std::size_t count = 1;

    Runnable() {
#ifdef TDR_X86_CODERS
        if (__builtin_cpu_supports("ssse3")) {
            tables[count++] = &kSsse3Coders;
        }
        if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi")) {
            tables[count++] = &kAvx2Coders;
        }
        if (__builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vbmi") &&
            __builtin_cpu_supports("avx512vbmi2") && __builtin_cpu_supports("bmi") &&
            __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt")) {
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
