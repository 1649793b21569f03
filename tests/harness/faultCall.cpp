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
#include <utility>
#include <vector>

namespace {

/// The kinds, and the calls of each.
const std::pair<std::string_view, std::vector<unsigned long long>> kKinds[] = {
    {"read", {SYS_read, SYS_pread64, SYS_recvfrom, SYS_readv, SYS_recvmsg, SYS_getdents64}},
    {"write", {SYS_write, SYS_pwrite64, SYS_sendto, SYS_writev, SYS_sendmsg, SYS_copy_file_range}},
    {"open", {SYS_open, SYS_openat}},
    {"close", {SYS_close}},
    {"lseek", {SYS_lseek}},
    {"rename", {SYS_rename, SYS_renameat, SYS_renameat2}},
    {"fsync", {SYS_fsync, SYS_fdatasync}},
    {"mmap", {SYS_mmap, SYS_mremap}},
    {"shmget", {SYS_shmget}},
    {"shmat", {SYS_shmat}},
    {"shmctl", {SYS_shmctl}},
    {"socket", {SYS_socket}},
    {"bind", {SYS_bind}},
    {"listen", {SYS_listen}},
    {"accept", {SYS_accept, SYS_accept4}},
    {"connect", {SYS_connect}},
    {"sockname", {SYS_getsockname}},
    {"sockopt", {SYS_setsockopt}},
    {"select", {SYS_select, SYS_pselect6}},
    {"poll", {SYS_poll, SYS_ppoll}},
    {"wait", {SYS_wait4, SYS_waitid}},
    {"clone", {SYS_fork, SYS_vfork, SYS_clone, SYS_clone3}},
    {"execve", {SYS_execve}},
    {"pipe", {SYS_pipe2}},
    {"eventfd", {SYS_eventfd2}},
    {"pidfd", {SYS_pidfd_open}},
    {"dup", {SYS_dup2, SYS_dup3, SYS_fcntl}},
    {"getrandom", {SYS_getrandom}},
    {"stat", {SYS_stat, SYS_fstat, SYS_newfstatat, SYS_statx}},
    {"access", {SYS_access, SYS_faccessat2}},
    {"link", {SYS_readlink, SYS_symlink, SYS_symlinkat, SYS_linkat}},
    {"mkdir", {SYS_mkdir, SYS_mkdirat}},
    {"chmod", {SYS_ftruncate, SYS_fchmod, SYS_fchown, SYS_fchmodat, SYS_fsetxattr}},
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
    const auto* const found = std::ranges::find_if(kKinds, [&info](const auto& row) {
        return std::ranges::count(row.second, info.entry.nr) > 0;
    });
    if (found == std::end(kKinds) || exempt(info) || ++counts_[found->first] != number_ ||
        found->first != kind_) {
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
