#include "tests/support/child.h"

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

namespace {

constexpr int nobody = 65534;

bool dropPrivileges() {
    return geteuid() != 0 ||
           (setgroups(0, nullptr) == 0 && setgid(nobody) == 0 && setuid(nobody) == 0);
}

} // namespace

int inChild(const std::function<int()>& work) {
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const int result = work();
        fflush(nullptr);
        _exit(result);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int asOrdinaryUser(const std::function<int()>& work) {
    return inChild([&work] { return dropPrivileges() ? work() : 99; });
}

std::string answerOfChild(const std::function<std::string()>& work) {
    const std::unique_ptr<FILE, int (*)(FILE*)> file(tmpfile(), fclose);
    const int result = inChild([&work, &file] {
        const std::string answer = work();
        return fwrite(answer.data(), 1, answer.size(), file.get()) == answer.size() ? 0 : 1;
    });
    std::string answer;
    rewind(file.get());
    for (int byte = getc(file.get()); result == 0 && byte != EOF; byte = getc(file.get())) {
        answer += static_cast<char>(byte);
    }
    return answer;
}
