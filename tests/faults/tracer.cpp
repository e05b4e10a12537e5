#include "tests/faults/tracer.h"

#include "tests/faults/syscalls.h"

#include <signal.h>
#include <sys/ptrace.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <stdexcept>

namespace {

/// Follows one program from its first instruction to its end.
class Tracer {
public:
    Tracer(const std::string& root, const Fault& fault) : m_root(root), m_fault(fault) {}

    Trace run(const std::string& program, const std::function<void()>& prepare) {
        start(program, prepare);
        int status = 0;
        for (pid_t tid; (tid = waitpid(-1, &status, __WALL)) > 0;) {
            if (WIFSTOPPED(status)) {
                resume(tid, status);
            } else if (tid == m_leader) {
                m_trace.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
            }
        }
        return m_trace;
    }

private:
    void start(const std::string& program, const std::function<void()>& prepare) {
        m_leader = fork();
        if (m_leader == 0) {
            prepare();
            ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
            raise(SIGSTOP);
            execl(program.c_str(), program.c_str(), nullptr);
            _exit(127);
        }
        int status = 0;
        if (waitpid(m_leader, &status, 0) != m_leader || !WIFSTOPPED(status)) {
            throw std::runtime_error("the program does not start under ptrace");
        }
        const long options =
            PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
        ptrace(PTRACE_SETOPTIONS, m_leader, nullptr, options);
        ptrace(PTRACE_SYSCALL, m_leader, nullptr, nullptr);
    }

    void resume(pid_t tid, int status) {
        int signal = 0;
        if (WSTOPSIG(status) == (SIGTRAP | 0x80)) {
            at_system_call(tid);
        } else if (WSTOPSIG(status) != SIGTRAP && WSTOPSIG(status) != SIGSTOP) {
            signal = WSTOPSIG(status); // the program's own business: handed on
        }
        ptrace(PTRACE_SYSCALL, tid, nullptr, signal);
    }

    void at_system_call(pid_t tid) {
        __ptrace_syscall_info info = {};
        ptrace(PTRACE_GET_SYSCALL_INFO, tid, sizeof info, &info);
        if (info.op == PTRACE_SYSCALL_INFO_ENTRY) {
            at_entry(tid, info);
        } else if (info.op == PTRACE_SYSCALL_INFO_EXIT) {
            at_exit(tid);
        }
    }

    void at_entry(pid_t tid, const __ptrace_syscall_info& info) {
        const FileCall call = classify(tid, info.entry.nr, info.entry.args, m_root);
        if (!call) {
            return;
        }
        const int point = static_cast<int>(m_trace.calls.size());
        m_trace.calls.push_back(call.name + " " + call.path);
        if (m_fault.kind == Fault::disk_full && point >= m_fault.point && call.creates) {
            fail(tid, ENOSPC);
        } else if (point == m_fault.point) {
            strike(tid, call, info);
        }
    }

    void strike(pid_t tid, const FileCall& call, const __ptrace_syscall_info& info) {
        if (m_fault.kind == Fault::fail_once) {
            fail(tid, m_fault.number);
        } else if (m_fault.kind == Fault::signalled) {
            kill(m_leader, m_fault.number);
        } else if (m_fault.kind == Fault::kill_torn && call.length_argument == 2) {
            user_regs_struct registers = {};
            ptrace(PTRACE_GETREGS, tid, nullptr, &registers);
            registers.rdx = info.entry.args[2] / 2;
            ptrace(PTRACE_SETREGS, tid, nullptr, &registers);
            m_kill_at_exit = tid;
        } else if (m_fault.kind == Fault::kill_before || m_fault.kind == Fault::kill_torn) {
            skip(tid);
            kill(m_leader, SIGKILL);
        }
    }

    void at_exit(pid_t tid) {
        if (tid == m_kill_at_exit) {
            kill(m_leader, SIGKILL);
        }
        const auto found = m_errors.find(tid);
        if (found != m_errors.end()) {
            user_regs_struct registers = {};
            ptrace(PTRACE_GETREGS, tid, nullptr, &registers);
            registers.rax = static_cast<unsigned long long>(-static_cast<long long>(found->second));
            ptrace(PTRACE_SETREGS, tid, nullptr, &registers);
            m_errors.erase(found);
        }
    }

    // The call is not made; at its exit the program sees `error`.
    void fail(pid_t tid, int error) {
        skip(tid);
        m_errors[tid] = error;
    }

    static void skip(pid_t tid) {
        user_regs_struct registers = {};
        ptrace(PTRACE_GETREGS, tid, nullptr, &registers);
        registers.orig_rax = static_cast<unsigned long long>(-1);
        ptrace(PTRACE_SETREGS, tid, nullptr, &registers);
    }

    const std::string m_root;
    const Fault m_fault;
    Trace m_trace;
    pid_t m_leader = -1;
    pid_t m_kill_at_exit = -1;
    std::map<pid_t, int> m_errors; // by thread: what its call in progress shall answer
};

} // namespace

Trace trace(const std::string& program, const std::string& root, const Fault& fault,
            const std::function<void()>& prepare) {
    return Tracer(root, fault).run(program, prepare);
}
