// SPDX-License-Identifier: MIT
// faultCall LOG KIND N FAULT PROGRAM [ARGUMENT...]: becomes PROGRAM, whose N-th system call of KIND
// fails with FAULT: the name of an error, or "short" for a transfer of one byte. LOG gets a line
// that names the call; with N = 0 nothing fails and LOG gets "counted KIND COUNT FAULT..." for each
// kind.
//
// The process id stays the same, so that a host sees the driver that it started; the tracer is not
// its child. Calls count from the program's `main` on, where failAllocation.cpp, preloaded, makes
// the first of its marked calls. A child counts as its parent until it executes a program. Exit
// status 77: tracing is forbidden.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
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
#include <vector>

namespace {

/// The system calls of one kind, and how they fail.
struct Kind {
    std::string_view name, faults;
    std::vector<unsigned long long> calls;
};
const Kind kKinds[] = {
    {"read",
     "EINTR EIO ECONNRESET short",
     {SYS_read, SYS_pread64, SYS_recvfrom, SYS_readv, SYS_recvmsg, SYS_getdents64}},
    {"write",
     "EINTR EIO ENOSPC EPIPE short",
     {SYS_write, SYS_pwrite64, SYS_sendto, SYS_writev, SYS_sendmsg, SYS_copy_file_range}},
    {"open", "EINTR EMFILE EIO ENOMEM", {SYS_open, SYS_openat}},
    {"close", "EINTR EIO ENOSPC", {SYS_close}},
    {"lseek", "EIO", {SYS_lseek}},
    {"rename", "EIO ENOSPC", {SYS_rename, SYS_renameat, SYS_renameat2}},
    {"fsync", "EIO ENOSPC", {SYS_fsync, SYS_fdatasync}},
    {"mmap", "ENOMEM", {SYS_mmap, SYS_mremap}},
    {"shmget", "ENOMEM ENOSPC", {SYS_shmget}},
    {"shmat", "ENOMEM EMFILE", {SYS_shmat}},
    {"shmctl", "ENOMEM", {SYS_shmctl}},
    {"socket", "EMFILE ENOMEM", {SYS_socket}},
    {"bind", "ENOMEM", {SYS_bind}},
    {"listen", "ENOMEM", {SYS_listen}},
    {"accept", "EINTR EMFILE ECONNRESET", {SYS_accept, SYS_accept4}},
    {"connect", "EINTR ECONNRESET ENOMEM", {SYS_connect}},
    {"sockname", "ENOMEM", {SYS_getsockname}},
    {"sockopt", "ENOMEM", {SYS_setsockopt}},
    {"select", "EINTR ENOMEM", {SYS_select, SYS_pselect6}},
    {"poll", "EINTR ENOMEM", {SYS_poll, SYS_ppoll}},
    {"wait", "EINTR", {SYS_wait4, SYS_waitid}},
    {"clone", "ENOMEM", {SYS_fork, SYS_vfork, SYS_clone, SYS_clone3}},
    {"execve", "EIO ENOMEM", {SYS_execve}},
    {"pipe", "EMFILE", {SYS_pipe2}},
    {"eventfd", "EMFILE", {SYS_eventfd2}},
    {"pidfd", "EMFILE", {SYS_pidfd_open}},
    {"dup", "EMFILE", {SYS_dup2, SYS_dup3, SYS_fcntl}},
    {"getrandom", "EINTR", {SYS_getrandom}},
    {"stat", "EIO", {SYS_stat, SYS_fstat, SYS_newfstatat, SYS_statx}},
    {"access", "EIO", {SYS_access, SYS_faccessat2}},
    {"link", "EIO", {SYS_readlink, SYS_symlink, SYS_symlinkat, SYS_linkat}},
    {"mkdir", "ENOSPC", {SYS_mkdir, SYS_mkdirat}},
    {"chmod", "EIO", {SYS_ftruncate, SYS_fchmod, SYS_fchown, SYS_fchmodat, SYS_fsetxattr}},
    {"alloc", "ENOMEM", {SYS_getppid}},
};

/// Calls whose third argument is a count of bytes.
constexpr std::array kTransfers = {SYS_read,  SYS_pread64,  SYS_recvfrom,
                                   SYS_write, SYS_pwrite64, SYS_sendto};

/// Kinds whose call is executed although its result is replaced, as in reality: a failed close
/// still closes.
constexpr std::array<std::string_view, 3> kReal = {"close", "select", "poll"};

/// True for the marked calls of failAllocation.cpp.
bool isMark(const __ptrace_syscall_info& info) {
    return info.entry.nr == SYS_getppid && info.entry.args[0] == FAULT_MARK;
}

/// Exempt are the removal of a segment, on which all cleanup relies, fcntl calls other than
/// duplicating a descriptor, and calls without the mark that could have it.
bool exempt(const __ptrace_syscall_info& info) {
    return (info.entry.nr == SYS_shmctl && info.entry.args[1] == IPC_RMID) ||
           (info.entry.nr == SYS_fcntl && info.entry.args[1] != F_DUPFD_CLOEXEC) ||
           (info.entry.nr == SYS_getppid && !isMark(info));
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
    const auto fd = std::to_string(static_cast<int>(info.entry.args[0]));
    std::error_code none;
    std::string object = std::filesystem::read_symlink(process + "/fd/" + fd, none);
    for (int argument = 0; argument < 2 && object.empty(); ++argument) {
        std::ifstream memory(process + "/mem", std::ios::binary);
        memory.seekg(static_cast<std::streamoff>(info.entry.args[argument]));
        std::getline(memory, object, '\0');
    }
    return object;
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
    bool stopped(pid_t task, int status, int& signal);
    void enter(pid_t task, const __ptrace_syscall_info& info);

    pid_t program_;
    std::string log_;
    std::string_view kind_;
    int number_;
    int result_;        ///< of the failing call; 0: it is a short one
    pid_t failing_ = 0; ///< the task that is in it
    bool counting_ = false;
    std::map<std::string_view, int> counts_;
};

void Tracer::run() {
    int status = 0;
    pid_t task = 0;
    while ((task = waitpid(-1, &status, __WALL)) > 0) {
        int signal = 0;
        if (WIFSTOPPED(status) && stopped(task, status, signal)) {
            ptrace(PTRACE_SYSCALL, task, 0, signal);
        }
    }
    for (const Kind& kind : kKinds) {
        if (number_ == 0) {
            std::ofstream(log_, std::ios::app)
                << "counted " << kind.name << ' ' << counts_[kind.name] << ' ' << kind.faults
                << std::endl;
        }
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
    if (event == 0 && WSTOPSIG(status) == (SIGTRAP | 0x80)) {
        __ptrace_syscall_info info{};
        ptrace(PTRACE_GET_SYSCALL_INFO, task, sizeof info, &info);
        if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
            enter(task, info);
        } else if (task == failing_) {
            const auto result = static_cast<unsigned long long>(result_);
            changeRegisters(task, [=](auto& registers) { registers.rax = result; });
            failing_ = 0;
        }
    } else if (event == 0) {
        signal = WSTOPSIG(status);
    }
    return true;
}

void Tracer::enter(pid_t task, const __ptrace_syscall_info& info) {
    if (!counting_) {
        counting_ = isMark(info);
        return;
    }
    const auto* const found = std::ranges::find_if(kKinds, [&info](const Kind& kind) {
        return std::ranges::count(kind.calls, info.entry.nr) > 0;
    });
    if (found == std::end(kKinds) || exempt(info) || ++counts_[found->name] != number_ ||
        found->name != kind_) {
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
