#include "tests/faults/scenario.h"

#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

std::string read_file(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void write_file(const fs::path& path, const std::string& content, mode_t mode = 0644) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
    if (chmod(path.c_str(), mode) != 0) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

// Bytes that do not compress, the same in every run.
std::string noise(size_t length, unsigned seed) {
    std::string bytes(length, '\0');
    for (char& byte : bytes) {
        seed = seed * 1664525U + 1013904223U;
        byte = static_cast<char>(seed >> 24);
    }
    return bytes;
}

// Every file's content depends on `build`, and so do two names.
void make_client(const fs::path& folder, unsigned build) {
    const std::string number = std::to_string(build);
    write_file(folder / "bin/cloud-tessel-ui", "#!/bin/sh\n# client " + number + "\n", 0755);
    write_file(folder / "package/start-stop",
               "#!/bin/sh\n# client " + number + "\necho $1 >> \"$HOME/starts\"\n", 0755);
    for (unsigned i = 0; i < 20; ++i) {
        const std::string name =
            "lib/libpart" + std::to_string(i) + ".so." + (i < 2 ? number : "1");
        write_file(folder / name, noise(500 + i * 700, build * 100 + i));
    }
    write_file(folder / "share/large.dat", noise(300000, build));
    for (const char* language : {"en", "ja", "pt"}) {
        write_file(folder / "share/texts" / language / "client.txt", language + number);
    }
    fs::create_directories(folder / "share/empty");
    for (unsigned i = 2; i < 6; ++i) {
        fs::create_symlink("libpart" + std::to_string(i + build % 2) + ".so.1",
                           folder / ("lib/libpart" + std::to_string(i) + ".so"));
    }
    write_file(folder / "INFO", "[Version]\nmajor_version=1\nminor_version=0\n"
                                "icon_overlay_version=1\nbuild_version=" +
                                    number + "\n");
}

void run_command(const std::string& command) {
    if (std::system(command.c_str()) != 0) { // NOLINT(cert-env33-c): our own words, no input
        throw std::runtime_error("failed: " + command);
    }
}

} // namespace

const char* name(Copy copy) {
    switch (copy) {
    case Copy::none:
        return "none";
    case Copy::partial:
        return "partial";
    case Copy::old_one:
        return "old";
    case Copy::new_one:
        return "new";
    }
    return "";
}

void Scenario::set_up(const fs::path& installation, const fs::path& scratch) {
    fs::copy(installation, scratch / "installation",
             fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    make_client(scratch / "old", 41);
    make_client(scratch / "new", 42);
    run_command("'" + (scratch / "installation/bin/tessel-package").string() + "' build '" +
                (scratch / "new").string() + "' '" + (scratch / "installation").string() + "' > '" +
                (scratch / "summary").string() + "'");
}

Scenario::Scenario(const fs::path& scratch, int user)
    : m_scratch(scratch), m_home(scratch / ("home" + std::to_string(user))),
      m_installation(scratch / "installation"), m_old(manifest(scratch / "old")) {
    reset_home(false);
    if (run() != 0) {
        throw std::runtime_error("the undisturbed run fails");
    }
    // What a run without faults leaves is the new copy; that it is the client is checked here once.
    m_new = manifest(m_home / ".AldaneTessel/AldaneTessel.app");
    if (m_new.size() < 30 || m_new.at("share/large.dat") != noise(300000, 42)) {
        throw std::runtime_error("the undisturbed run does not install the client");
    }
}

void Scenario::reset_home(bool with_old_copy) const {
    fs::remove_all(m_home);
    fs::create_directories(m_home / ".AldaneTessel");
    if (with_old_copy) {
        fs::copy(m_scratch / "old", m_home / ".AldaneTessel/AldaneTessel.app",
                 fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    }
}

void Scenario::enter_environment() const {
    setenv("HOME", m_home.c_str(), 1);
    setenv("QT_QPA_PLATFORM", "minimal", 1);
    setenv("XDG_CACHE_HOME", (m_scratch / "cache").c_str(), 1);
    for (const int number : {SIGTERM, SIGHUP, SIGINT}) {
        signal(number, SIG_DFL); // as a session hands it on, which nohup does not
    }
    if (freopen("/dev/null", "w", stdout) == nullptr ||
        freopen("/dev/null", "w", stderr) == nullptr) {
        _exit(126);
    }
}

Trace Scenario::run_with(const Fault& fault) const {
    return trace((m_installation / "bin/launcher").string(), m_home.string(), fault,
                 [this] { enter_environment(); });
}

int Scenario::run() const {
    const std::string program = (m_installation / "bin/launcher").string();
    const pid_t child = fork();
    if (child == 0) {
        enter_environment();
        execl(program.c_str(), program.c_str(), nullptr);
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

Scenario::Manifest Scenario::manifest(const fs::path& folder) {
    Manifest entries;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
        const std::string name =
            fs::relative(entry.path().parent_path(), folder) / entry.path().filename();
        const std::string key = name.compare(0, 2, "./") == 0 ? name.substr(2) : name;
        if (entry.is_symlink()) {
            entries[key] = "-> " + fs::read_symlink(entry.path()).string();
        } else if (entry.is_directory()) {
            entries[key] = "folder";
        } else {
            const bool runs =
                (entry.status().permissions() & fs::perms::owner_exec) != fs::perms::none;
            entries[key + (runs ? "*" : "")] = read_file(entry.path());
        }
    }
    return entries;
}

Copy Scenario::compare(const fs::path& folder) const {
    if (!fs::exists(folder)) {
        return Copy::none;
    }
    const Manifest found = manifest(folder);
    if (found == m_old) {
        return Copy::old_one;
    }
    return found == m_new ? Copy::new_one : Copy::partial;
}

Copy Scenario::live() const {
    return compare(m_home / ".AldaneTessel/AldaneTessel.app");
}

bool Scenario::whole_copy_exists() const {
    for (const auto& entry : fs::directory_iterator(m_home / ".AldaneTessel")) {
        if (entry.is_directory() && compare(entry.path()) > Copy::partial) {
            return true;
        }
    }
    return false;
}

int Scenario::starts() const {
    const std::string lines = read_file(m_home / "starts");
    return static_cast<int>(std::count(lines.begin(), lines.end(), '\n'));
}

bool Scenario::log_tells() const {
    return read_file(m_home / ".AldaneTessel/log/launcher.log").find("[ERROR]") !=
           std::string::npos;
}

fs::path Scenario::package() const {
    return m_installation / "package/skylark.tpx";
}

void Scenario::use_own_installation() {
    const fs::path own = m_home.string() + "-installation";
    fs::copy(m_installation, own, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    m_installation = own;
}
