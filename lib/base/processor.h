// SPDX-License-Identifier: MIT
// What an x86 processor can run. The GNU library has found it out before main; the compiler's own
// check would do it again at every start, and in a virtual machine each question to the processor
// takes microseconds.
#pragma once

#if __has_include(<sys/platform/x86.h>) && !defined(__clang__) // which cannot parse it as C++
#include <sys/platform/x86.h>
#define TDR_PROCESSOR_HAS(feature, name) CPU_FEATURE_ACTIVE(feature)
#elif defined(__x86_64__)
#define TDR_PROCESSOR_HAS(feature, name) (__builtin_cpu_supports(name) != 0)
#endif

namespace base {

#ifdef TDR_PROCESSOR_HAS

[[nodiscard]] inline bool processorHasSsse3() {
    return TDR_PROCESSOR_HAS(SSSE3, "ssse3");
}

/// With the first extension for bits (BMI).
[[nodiscard]] inline bool processorHasAvx2() {
    return TDR_PROCESSOR_HAS(AVX2, "avx2") && TDR_PROCESSOR_HAS(BMI1, "bmi");
}

/// With its byte permutations (VBMI, VBMI2) and everything that the others have.
[[nodiscard]] inline bool processorHasAvx512() {
    return processorHasAvx2() && TDR_PROCESSOR_HAS(AVX512BW, "avx512bw") &&
           TDR_PROCESSOR_HAS(AVX512_VBMI, "avx512vbmi") &&
           TDR_PROCESSOR_HAS(AVX512_VBMI2, "avx512vbmi2") && TDR_PROCESSOR_HAS(BMI2, "bmi2") &&
           TDR_PROCESSOR_HAS(POPCNT, "popcnt");
}

#endif

} // namespace base
