// SPDX-License-Identifier: MIT
// Preloaded. FAULT_ALLOCATION="LOG PROGRAM N": the N-th allocation of PROGRAM fails; with N = 0
// none fails and LOG gets "alloc COUNT". Counting starts at `main`, after the libraries' own
// allocations. FAULT_BLOCK=BYTES: shared memory of this size cannot be created.
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
}

namespace {

using Main = int (*)(int, char**, char**);

char logName[512];
std::atomic<long> failing = -1; ///< its number; -1: not this program
std::atomic<long> seen = 0;
Main realMain = nullptr;

bool fails() {
    if (failing < 0 || ++seen != failing) {
        return false;
    }
    errno = ENOMEM;
    return true;
}

void tellCount() {
    if (failing.exchange(-1) == 0) {
        if (std::FILE* log = std::fopen(logName, "a")) {
            std::fprintf(log, "alloc %ld\n", seen.load());
            std::fclose(log);
        }
    }
}

int countingMain(int argc, char** argv, char** environment) {
    char program[64] = "";
    long number = 0;
    const char* plan = std::getenv("FAULT_ALLOCATION");
    if (plan != nullptr && std::sscanf(plan, "%511s %63s %ld", logName, program, &number) == 3 &&
        std::strcmp(program, program_invocation_short_name) == 0) {
        std::atexit(tellCount);
        failing = number;
    }
    return realMain(argc, argv, environment);
}

} // namespace

extern "C" {

void* malloc(std::size_t size) {
    return fails() ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size) {
    return fails() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* block, std::size_t size) {
    return fails() ? nullptr : __libc_realloc(block, size);
}

int shmget(int key, std::size_t size, int flags) {
    const char* refused = std::getenv("FAULT_BLOCK");
    if (refused != nullptr && size == std::strtoul(refused, nullptr, 10)) {
        errno = ENOMEM;
        return -1;
    }
    return static_cast<int>(syscall(SYS_shmget, key, size, flags));
}

int __libc_start_main(Main main, int argc, char** argv, void (*init)(), void (*fini)(),
                      void (*loaderEnd)(), void* stackEnd) {
    realMain = main;
    const auto next =
        reinterpret_cast<decltype(&__libc_start_main)>(dlsym(RTLD_NEXT, "__libc_start_main"));
    return next(countingMain, argc, argv, init, fini, loaderEnd, stackEnd);
}
}
