#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
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

/// What becomes of a call that changes files.
enum class Fault {
    Kill,      ///< the process dies before it
    FailOnce,  ///< it fails
    FailTwice, ///< it fails, and so does the next
    FailOn,    ///< it fails, and so do all after it
    NoSync,    ///< from it on, all that would reach the disk for certain
};

namespace detail {

inline bool changesFiles(const user_regs_struct& call) {
    static const std::set<unsigned long long> calls{
        SYS_write,   SYS_pwrite64, SYS_writev,   SYS_rename,   SYS_renameat,  SYS_renameat2, SYS_unlink,
        SYS_rmdir,   SYS_unlinkat, SYS_mkdir,    SYS_truncate, SYS_ftruncate, SYS_fsync,     SYS_fdatasync,
        SYS_mkdirat, SYS_linkat,   SYS_fchmodat, SYS_fchmod,   SYS_fchownat,  SYS_sendfile,  SYS_copy_file_range};
    const bool isSaid = call.orig_rax == SYS_write && call.rdi <= STDERR_FILENO;
    return (calls.count(call.orig_rax) != 0 && !isSaid) || (call.orig_rax == SYS_openat && (call.rdx & O_CREAT) != 0);
}

struct Run {
    int calls = 0; ///< that change files, up to the end; -1: no tracing
    int code = -1; ///< what the action returned; -1: it was killed
};

/// Lets a fault happen to a child's nth call that changes files.
inline Run runWith(Fault fault, int nth, const std::function<int()>& action) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) {
            ::_exit(3);
        }
        ::raise(SIGSTOP);
        ::_exit(action());
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (!WIFSTOPPED(status)) {
        return {-1, -1};
    }
    ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    Run run;
    bool fails = false;
    for (bool enters = true;; enters = !enters) {
        ::ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        ::waitpid(child, &status, 0);
        if (WIFEXITED(status) || WIFSIGNALED(status)) {
            EXPECT_TRUE(WIFEXITED(status)) << "it crashed by itself";
            run.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            return run;
        }
        user_regs_struct call{};
        ::ptrace(PTRACE_GETREGS, child, nullptr, &call);
        if (enters && changesFiles(call)) {
            const int number = run.calls++;
            if (fault == Fault::Kill && number == nth) {
                ::kill(child, SIGKILL);
                ::waitpid(child, &status, 0);
                return run;
            }
            const int last = fault == Fault::FailOn      ? number
                             : fault == Fault::FailTwice ? nth + 1
                             : fault == Fault::FailOnce  ? nth
                                                         : -1;
            const bool isSync = call.orig_rax == SYS_fsync || call.orig_rax == SYS_fdatasync;
            fails = number >= nth && (fault == Fault::NoSync ? isSync : number <= last);
            if (fails) {
                call.orig_rax = ~0ULL; // no call at all
                ::ptrace(PTRACE_SETREGS, child, nullptr, &call);
            }
        } else if (!enters && fails) {
            call.rax = static_cast<unsigned long long>(-EIO);
            ::ptrace(PTRACE_SETREGS, child, nullptr, &call);
            fails = false;
        }
    }
}

} // namespace detail

/// Runs the action in child processes, in each of which the fault happens to another of the calls that change
/// files, to so many of them at most, and in the first to none; prepare() goes before each, and check() with
/// what the action returned, -1 when it was killed, after it. False where processes cannot be traced.
inline bool withFaults(Fault fault, int most, const std::function<void()>& prepare, const std::function<int()>& action,
                       const std::function<void(int code)>& check) {
    prepare();
    const auto [calls, code] = detail::runWith(fault, 1 << 30, action);
    if (calls < 0) {
        return false;
    }
    check(code);
    EXPECT_GT(calls, 3);
    for (int nth = 0; nth < calls; nth += 1 + calls / most) {
        SCOPED_TRACE(testing::Message() << "fault at call " << nth << " of " << calls);
        prepare();
        check(detail::runWith(fault, nth, action).code);
    }
    return true;
}

/// A process is killed in the middle of the time in which a condition is met. False when it never is, or where
/// processes cannot be traced. Which call that is, is looked for the first time, when it is below 0.
inline bool killWithin(int& middle, const std::function<void()>& prepare, const std::function<void()>& action,
                       const std::function<bool()>& condition) {
    const auto isMetAt = [&](int nth, int* calls = nullptr) {
        prepare();
        const auto run = detail::runWith(Fault::Kill, nth, [&] { return action(), 0; });
        if (calls != nullptr) {
            *calls = run.calls;
        }
        return condition();
    };
    if (middle < 0) {
        int nth = -1;
        isMetAt(1 << 30, &nth);
        int last = -1;
        for (; nth >= 0 && middle < 0; --nth) {
            const bool isMet = isMetAt(nth);
            last = isMet ? std::max(last, nth) : last;
            middle = last >= 0 && !isMet ? (last + nth) / 2 : -1;
        }
    }
    return middle >= 0 && isMetAt(middle);
}

} // namespace test
