// SPDX-License-Identifier: MIT
// faultCall LOG KIND N FAULT PROGRAM [ARGUMENT...]: becomes PROGRAM, whose N-th system call of KIND
// fails with FAULT: the name of an error, or "short" for a transfer of one byte. LOG gets a line
// that names the call; with N = 0 nothing fails and LOG gets "KIND COUNT" for each kind.
//
// The process id stays the same, so that a host sees the driver that it started; the tracer is not
// its child. Calls count from the program's entry point on, without the loader's. A child counts as
// its parent until it executes a program. Exit status 77: tracing is forbidden.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <elf.h>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <sys/ipc.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const std::map<unsigned long long, std::string_view> kKinds = {
    {SYS_read, "read"},
    {SYS_pread64, "read"},
    {SYS_recvfrom, "read"},
    {SYS_readv, "read"},
    {SYS_recvmsg, "read"},
    {SYS_getdents64, "read"},
    {SYS_write, "write"},
    {SYS_pwrite64, "write"},
    {SYS_sendto, "write"},
    {SYS_writev, "write"},
    {SYS_sendmsg, "write"},
    {SYS_copy_file_range, "write"},
    {SYS_open, "open"},
    {SYS_openat, "open"},
    {SYS_close, "close"},
    {SYS_lseek, "lseek"},
    {SYS_rename, "rename"},
    {SYS_renameat, "rename"},
    {SYS_renameat2, "rename"},
    {SYS_fsync, "fsync"},
    {SYS_fdatasync, "fsync"},
    {SYS_mmap, "mmap"},
    {SYS_mremap, "mmap"},
    {SYS_shmget, "shmget"},
    {SYS_shmat, "shmat"},
    {SYS_shmctl, "shmctl"},
    {SYS_socket, "socket"},
    {SYS_bind, "bind"},
    {SYS_listen, "listen"},
    {SYS_accept, "accept"},
    {SYS_accept4, "accept"},
    {SYS_connect, "connect"},
    {SYS_getsockname, "sockname"},
    {SYS_setsockopt, "sockopt"},
    {SYS_select, "select"},
    {SYS_pselect6, "select"},
    {SYS_poll, "poll"},
    {SYS_ppoll, "poll"},
    {SYS_wait4, "wait"},
    {SYS_waitid, "wait"},
    {SYS_fork, "clone"},
    {SYS_vfork, "clone"},
    {SYS_clone, "clone"},
    {SYS_clone3, "clone"},
    {SYS_execve, "execve"},
    {SYS_pipe2, "pipe"},
    {SYS_eventfd2, "eventfd"},
    {SYS_pidfd_open, "pidfd"},
    {SYS_dup2, "dup"},
    {SYS_dup3, "dup"},
    {SYS_fcntl, "dup"},
    {SYS_getrandom, "getrandom"},
    {SYS_stat, "stat"},
    {SYS_fstat, "stat"},
    {SYS_newfstatat, "stat"},
    {SYS_statx, "stat"},
    {SYS_access, "access"},
    {SYS_faccessat2, "access"},
    {SYS_readlink, "link"},
    {SYS_symlink, "link"},
    {SYS_symlinkat, "link"},
    {SYS_linkat, "link"},
    {SYS_mkdir, "mkdir"},
    {SYS_mkdirat, "mkdir"},
    {SYS_ftruncate, "chmod"},
    {SYS_fchmod, "chmod"},
    {SYS_fchown, "chmod"},
    {SYS_fchmodat, "chmod"},
    {SYS_fsetxattr, "chmod"},
};

/// Calls whose third argument is a count of bytes.
constexpr std::array kTransfers = {SYS_read,  SYS_pread64,  SYS_recvfrom,
                                   SYS_write, SYS_pwrite64, SYS_sendto};

/// Kinds whose call is executed although its result is replaced, as in reality: a failed close
/// still closes.
constexpr std::array<std::string_view, 3> kReal = {"close", "select", "poll"};

/// Exempt are the removal of a segment, on which all cleanup relies, and fcntl calls other than
/// duplicating a descriptor.
bool exempt(const __ptrace_syscall_info& info) {
    return (info.entry.nr == SYS_shmctl && info.entry.args[1] == IPC_RMID) ||
           (info.entry.nr == SYS_fcntl && info.entry.args[1] != F_DUPFD_CLOEXEC);
}

/// The negative number of an error by its name; 0 for an unknown name.
int resultNamed(std::string_view name) {
    for (int error = 1; error < 134; ++error) {
        if (const char* known = strerrorname_np(error); known != nullptr && name == known) {
            return -error;
        }
    }
    return 0;
}

/// The object of a call: its descriptor's file, or its path.
std::string objectOf(pid_t task, const __ptrace_syscall_info& info) {
    const std::string process = "/proc/" + std::to_string(task);
    std::array<char, 4096> link{};
    const auto fd = std::to_string(static_cast<int>(info.entry.args[0]));
    if (readlink((process + "/fd/" + fd).c_str(), link.data(), link.size() - 1) > 0) {
        return link.data();
    }
    std::string text;
    for (int argument = 0; argument < 2 && text.empty(); ++argument) {
        std::ifstream memory(process + "/mem", std::ios::binary);
        memory.seekg(static_cast<std::streamoff>(info.entry.args[argument]));
        std::getline(memory, text, '\0');
    }
    return text;
}

template <typename Change>
void changeRegisters(pid_t task, Change change) {
    user_regs_struct registers{};
    ptrace(PTRACE_GETREGS, task, 0, &registers);
    change(registers);
    ptrace(PTRACE_SETREGS, task, 0, &registers);
}

class Tracer {
  public:
    Tracer(pid_t program, char** plan)
        : program_(program), log_(plan[0]), kind_(plan[1]), number_(std::atoi(plan[2])),
          result_(resultNamed(plan[3])) {}
    void run();

  private:
    void plantBreakpoint();
    void leaveBreakpoint();
    bool stopped(pid_t task, int status, int& signal);
    void enter(pid_t task, const __ptrace_syscall_info& info);

    pid_t program_;
    std::string log_;
    std::string_view kind_;
    int number_;
    int result_;        ///< of the failing call; 0: it is a short one
    pid_t failing_ = 0; ///< the task that is in it
    bool counting_ = false;
    unsigned long entry_ = 0; ///< the program's entry point
    long entryWord_ = 0;
    std::map<std::string_view, int> counts_;
};

void Tracer::run() {
    int status = 0;
    pid_t task = 0;
    while ((task = waitpid(-1, &status, __WALL)) > 0) {
        int signal = 0;
        if (WIFSTOPPED(status) && stopped(task, status, signal)) {
            ptrace(counting_ ? PTRACE_SYSCALL : PTRACE_CONT, task, 0, signal);
        }
    }
    for (const auto& [kind, count] : counts_) {
        number_ == 0 && std::ofstream(log_, std::ios::app) << kind << ' ' << count << std::endl;
    }
}

/// Handles a stop; true when the task continues, with `signal`.
bool Tracer::stopped(pid_t task, int status, int& signal) {
    const int event = status >> 16;
    if (event == PTRACE_EVENT_EXEC && task != program_) {
        ptrace(PTRACE_DETACH, task, 0, 0);
        return false;
    }
    if (event == PTRACE_EVENT_STOP && WSTOPSIG(status) != SIGTRAP) {
        ptrace(PTRACE_LISTEN, task, 0, 0);
        return false;
    }
    if (event == PTRACE_EVENT_EXEC && !counting_) {
        plantBreakpoint();
    } else if (event == 0 && WSTOPSIG(status) == (SIGTRAP | 0x80)) {
        __ptrace_syscall_info info{};
        ptrace(PTRACE_GET_SYSCALL_INFO, task, sizeof info, &info);
        if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
            enter(task, info);
        } else if (task == failing_) {
            const auto result = static_cast<unsigned long long>(result_);
            changeRegisters(task, [=](auto& registers) { registers.rax = result; });
            failing_ = 0;
        }
    } else if (event == 0 && WSTOPSIG(status) == SIGTRAP && !counting_) {
        leaveBreakpoint();
    } else if (event == 0) {
        signal = WSTOPSIG(status);
    }
    return true;
}

void Tracer::plantBreakpoint() {
    std::ifstream vector("/proc/" + std::to_string(program_) + "/auxv", std::ios::binary);
    std::array<unsigned long, 2> pair{};
    while (vector.read(reinterpret_cast<char*>(pair.data()), sizeof pair) && pair[0] != AT_ENTRY) {
    }
    entry_ = pair[1];
    entryWord_ = ptrace(PTRACE_PEEKTEXT, program_, entry_, 0);
    constexpr long kByte = 0xff;
    constexpr long kInt3 = 0xcc;
    ptrace(PTRACE_POKETEXT, program_, entry_, (entryWord_ & ~kByte) | kInt3);
}

void Tracer::leaveBreakpoint() {
    changeRegisters(program_, [this](auto& registers) { registers.rip = entry_; });
    ptrace(PTRACE_POKETEXT, program_, entry_, entryWord_);
    counting_ = true;
}

void Tracer::enter(pid_t task, const __ptrace_syscall_info& info) {
    const auto found = kKinds.find(info.entry.nr);
    if (found == kKinds.end() || exempt(info) || ++counts_[found->second] != number_ ||
        found->second != kind_) {
        return;
    }
    std::ofstream(log_, std::ios::app) << kind_ << " failed: " << objectOf(task, info) << std::endl;
    const bool happens = std::ranges::count(kReal, kind_) > 0;
    const bool transfers = std::ranges::count(kTransfers, static_cast<long>(info.entry.nr)) > 0;
    if (result_ != 0) {
        failing_ = task;
    }
    changeRegisters(task, [=, this](auto& registers) {
        if (result_ != 0 && !happens) {
            registers.orig_rax = ~0ULL; // no such call: no effect
        } else if (result_ == 0 && transfers) {
            registers.rdx = std::min(registers.rdx, 1ULL);
        }
    });
}

/// Runs in a detached process without open files.
[[noreturn]] void trace(pid_t program, char** plan, int ready) {
    setsid();
    const bool may = ptrace(PTRACE_SEIZE, program, 0,
                            PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEEXEC | PTRACE_O_TRACEVFORK |
                                PTRACE_O_TRACEFORK | PTRACE_O_TRACECLONE) == 0;
    close_range(0, static_cast<unsigned>(ready) - 1, 0);
    if (may && write(ready, "", 1) == 1) {
        close_range(static_cast<unsigned>(ready), ~0U, 0);
        Tracer(program, plan).run();
    }
    _exit(0);
}

} // namespace

int main(int argc, char** argv) {
    int ready[2] = {};
    if (argc < 6 || pipe2(ready, O_CLOEXEC) != 0) {
        return 2;
    }
    prctl(PR_SET_PTRACER, PR_SET_PTRACER_ANY, 0, 0, 0);
    const pid_t program = getpid();
    const pid_t between = fork();
    if (between == 0) {
        fork() == 0 ? trace(program, argv + 1, ready[1]) : _exit(0);
    }
    close(ready[1]);
    waitpid(between, nullptr, 0);
    char byte = 0;
    if (read(ready[0], &byte, 1) != 1) {
        std::fputs("faultCall: this system forbids tracing\n", stderr);
        return 77;
    }
    execv(argv[5], argv + 5);
    std::perror(argv[5]);
    return 2;
}
