// SPDX-License-Identifier: MIT
// Preloaded into the programs that faultCall traces. From `main` on, after the libraries' own
// allocations, each allocation makes a marked system call: faultCall counts it and can make it
// fail. FAULT_BLOCK=BYTES: shared memory of this size cannot be created.
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
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

Main realMain = nullptr;
std::atomic<bool> running = false;

bool fails() {
    return running && syscall(SYS_getppid, FAULT_MARK) < 0;
}

int markedMain(int argc, char** argv, char** environment) {
    running = true;
    static_cast<void>(fails()); // the first mark: counting begins
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
    return next(markedMain, argc, argv, init, fini, loaderEnd, stackEnd);
}
}
