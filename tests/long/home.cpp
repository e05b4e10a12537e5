#include "tests/long/home.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

void write(const fs::path& path, const std::string& content) {
    fs::create_directories(path.parent_path());
    std::ofstream(path) << content;
    fs::permissions(path, fs::perms::owner_exec, fs::perm_options::add);
}

} // namespace

Home::Home(const std::string& installation, const std::string& scratch,
           const std::string& startStop)
    : m_root(scratch + "/installation"), m_home(scratch + "/home") {
    fs::create_directories(m_home);
    fs::copy(installation, m_root, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    const std::string client = scratch + "/client";
    write(client + "/INFO", "[Version]\nbuild_version=1\n");
    write(client + "/bin/cloud-tessel-ui", "#!/bin/sh\n");
    write(client + "/package/start-stop", "#!/bin/sh\n" + startStop + "\n");
    for (int i = 0; i < 10; ++i) {
        write(client + "/share/" + std::to_string(i), std::string(1000, 'x'));
    }
    write(m_root + "/INFO", "[Version]\nbuild_version=2\n");
    const std::string pack = "mkdir -p '" + m_root + "/package' && tar -C '" + client + "' -czf '" +
                             m_root + "/package/skylark.tpx' bin package share INFO";
    if (system(pack.c_str()) != 0) { // NOLINT(cert-env33-c): our own words, no input
        throw std::runtime_error("the client cannot be packed");
    }
}

pid_t Home::start() const {
    const std::string program = m_root + "/bin/launcher";
    const pid_t child = fork();
    if (child == 0) {
        setenv("HOME", m_home.c_str(), 1);
        setenv("QT_QPA_PLATFORM", "minimal", 1);
        const int null = open("/dev/null", O_RDWR);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        execl(program.c_str(), program.c_str(), nullptr);
        _exit(127);
    }
    return child;
}
