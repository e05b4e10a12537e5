#include "tests/support/child.h"

#include <grp.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <stdexcept>

#ifdef TESSEL_COVERAGE
extern "C" void __gcov_dump(void);
#endif

namespace {

constexpr int nobody = 65534;

bool dropPrivileges() {
    return geteuid() != 0 ||
           (setgroups(0, nullptr) == 0 && setgid(nobody) == 0 && setuid(nobody) == 0);
}

[[noreturn]] void endChild(int result) {
    fflush(nullptr);
#ifdef TESSEL_COVERAGE
    __gcov_dump(); // _exit would lose the counts
#endif
    _exit(result);
}

struct FileClose {
    void operator()(FILE* file) const { fclose(file); }
};
using FilePtr = std::unique_ptr<FILE, FileClose>;

FilePtr temporaryFile() {
    FilePtr file(tmpfile());
    if (!file) {
        throw std::runtime_error("no temporary file");
    }
    return file;
}

QByteArray contents(FILE* file) {
    QByteArray text;
    char buffer[4096];
    rewind(file);
    while (const size_t length = fread(buffer, 1, sizeof buffer, file)) {
        text.append(buffer, static_cast<int>(length));
    }
    return text;
}

} // namespace

int inChild(const std::function<int()>& work) {
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        endChild(work());
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

int asOrdinaryUser(const std::function<int()>& work) {
    return inChild([&work] { return dropPrivileges() ? work() : 99; });
}

std::string answerOfChild(const std::function<std::string()>& work) {
    const FilePtr file = temporaryFile();
    const int result = inChild([&work, &file] {
        const std::string answer = work();
        return fwrite(answer.data(), 1, answer.size(), file.get()) == answer.size() ? 0 : 1;
    });
    return result == 0 ? contents(file.get()).toStdString() : std::string();
}

ChildRun observeChild(const std::function<int()>& work) {
    const FilePtr output = temporaryFile();
    const FilePtr errors = temporaryFile();
    const int status = inChild([&] {
        dup2(fileno(output.get()), STDOUT_FILENO);
        dup2(fileno(errors.get()), STDERR_FILENO);
        return work();
    });
    return {status, contents(output.get()), contents(errors.get())};
}
