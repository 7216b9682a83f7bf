#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <functional>
#include <set>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

/// Disks that are full and processes that die, for tests of what is left in files then. No privileges needed.
namespace test {

/// What the action returns in a child process that cannot make a file larger than so many bytes.
inline bool onAFullDisk(std::uint64_t bytes, const std::function<bool()>& action) {
    const pid_t child = ::fork();
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{bytes, bytes};
        ::_exit(::setrlimit(RLIMIT_FSIZE, &limit) == 0 && action() ? 1 : 0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status)) << "it crashed";
    return WEXITSTATUS(status) == 1;
}

namespace detail {

inline bool changesFiles(const user_regs_struct& call) {
    static const std::set<unsigned long long> calls{
        SYS_write,    SYS_pwrite64, SYS_writev,   SYS_rename,    SYS_renameat, SYS_renameat2, SYS_unlink, SYS_rmdir,
        SYS_unlinkat, SYS_mkdir,    SYS_truncate, SYS_ftruncate, SYS_fsync,    SYS_fdatasync, SYS_mkdirat};
    return calls.count(call.orig_rax) != 0 || (call.orig_rax == SYS_openat && (call.rdx & O_CREAT) != 0);
}

/// Kills the child before its nth call that changes files; gives the number of calls before. -1: no tracing.
inline int runAndKill(int nth, const std::function<void()>& action) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
            ::_exit(3);
        }
        ::raise(SIGSTOP);
        action();
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (!WIFSTOPPED(status)) {
        return -1;
    }
    ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    int calls = 0;
    for (bool enters = true;; enters = !enters) {
        ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        ::waitpid(child, &status, 0);
        if (WIFEXITED(status) || WIFSIGNALED(status)) {
            EXPECT_TRUE(WIFEXITED(status)) << "it crashed by itself";
            return calls;
        }
        user_regs_struct call{};
        ::ptrace(PTRACE_GETREGS, child, nullptr, &call);
        if (enters && changesFiles(call) && calls++ == nth) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            return calls - 1;
        }
    }
}

} // namespace detail

/// Runs the action in child processes, of which each is killed before another of the calls that change files,
/// at most some 20 of them, and the last not at all; prepare() goes before each, check(done) after it.
/// False where processes cannot be traced.
inline bool killedInTheMiddle(const std::function<void()>& prepare, const std::function<void()>& action,
                              const std::function<void(bool done)>& check) {
    prepare();
    const int calls = detail::runAndKill(1 << 30, action);
    if (calls < 0) {
        return false;
    }
    check(true);
    EXPECT_GT(calls, 3);
    for (int nth = 0; nth < calls; nth += 1 + calls / 20) {
        SCOPED_TRACE(testing::Message() << "killed before call " << nth << " of " << calls);
        prepare();
        detail::runAndKill(nth, action);
        check(false);
    }
    return true;
}

} // namespace test
