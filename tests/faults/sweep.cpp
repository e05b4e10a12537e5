// Drives the real launcher through a fault at every file call that changes the user's home, one
// after another, and then starts it once more. Prints what is left each time, as tables.
//
//   fault-sweep INSTALLATION [--every N] [--jobs N] [--details FILE]
//
// INSTALLATION is a tree made by "cmake --install". Runs as an ordinary user: as root it becomes
// one. Exit status 0 when every figure that must be zero is zero, 1 otherwise.

#include "tests/faults/scenario.h"

#include <grp.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct Options {
    fs::path installation;
    int every = 1;
    // Two a processor: a job waits for a part of its time.
    int jobs = std::max(1, 2 * static_cast<int>(std::thread::hardware_concurrency()));
    std::string details;
};

struct FaultKind {
    const char* name;
    Fault::Kind kind;
    int number;
};

constexpr FaultKind kills[] = {{"killed before the call", Fault::kill_before, 0},
                               {"killed after half a write", Fault::kill_torn, 0}};
constexpr FaultKind errors[] = {{"ENOSPC once", Fault::fail_once, ENOSPC},
                                {"EACCES once", Fault::fail_once, EACCES},
                                {"EIO once", Fault::fail_once, EIO},
                                {"EMFILE once", Fault::fail_once, EMFILE}};
constexpr FaultKind signals[] = {{"SIGTERM", Fault::signalled, SIGTERM},
                                 {"SIGHUP, as the session ends", Fault::signalled, SIGHUP},
                                 {"SIGINT", Fault::signalled, SIGINT}};
constexpr FaultKind full = {"disk full from here on", Fault::disk_full, 0};

/// One point of one sweep: what was struck, and what was found afterwards.
struct Outcome {
    std::string call;
    bool ended = false; // by the signal that was sent
    Copy after = Copy::none;
    bool whole_after = false;
    bool told = false;
    Copy next = Copy::none;
    bool whole_next = false;
    bool started = false;
};

/// The counts of one sweep.
struct Row {
    std::string name;
    int points = 0;
    int survived = 0;
    int after[4] = {};
    int next[4] = {};
    int nothing_whole = 0;
    int untold = 0;
    int unstarted = 0;
};

Outcome strike(const Scenario& user, const FaultKind& kind, int point, bool with_old_copy) {
    user.reset_home(with_old_copy);
    const Trace struck = user.run_with({kind.kind, point, kind.number});
    Outcome outcome;
    outcome.call = point < static_cast<int>(struck.calls.size())
                       ? struck.calls[static_cast<size_t>(point)]
                       : std::string("(not reached)");
    outcome.ended = struck.status == 128 + kind.number;
    outcome.after = user.live();
    outcome.whole_after = user.whole_copy_exists();
    outcome.told = user.log_tells();
    const int started_before = user.starts();
    user.run();
    outcome.next = user.live();
    outcome.whole_next = user.whole_copy_exists();
    outcome.started = user.starts() > started_before;
    return outcome;
}

void print(std::ostream& out, int point, const Outcome& outcome) {
    out << point << '\t' << outcome.call << '\t' << outcome.ended << '\t'
        << static_cast<int>(outcome.after) << '\t' << outcome.whole_after << '\t' << outcome.told
        << '\t' << static_cast<int>(outcome.next) << '\t' << outcome.whole_next << '\t'
        << outcome.started << '\n';
}

/// Shares `count` pieces of work out to `jobs` processes; each appends its lines to its own file.
std::vector<std::string> in_parallel(const fs::path& scratch, int jobs,
                                     const std::function<void(int job, std::ostream&)>& work) {
    std::vector<pid_t> children;
    for (int job = 0; job < jobs; ++job) {
        fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            int status = 0;
            try {
                std::ofstream lines(scratch / ("lines" + std::to_string(job)));
                work(job, lines);
            } catch (const std::exception& problem) {
                fprintf(stderr, "%s\n", problem.what());
                status = 1;
            }
            _exit(status);
        }
        children.push_back(child);
    }
    std::vector<std::string> lines;
    for (int job = 0; job < jobs; ++job) {
        int status = 0;
        waitpid(children[static_cast<size_t>(job)], &status, 0);
        if (status != 0) {
            throw std::runtime_error("a worker failed");
        }
        std::ifstream file(scratch / ("lines" + std::to_string(job)));
        for (std::string line; std::getline(file, line);) {
            lines.push_back(line);
        }
    }
    return lines;
}

Row count(const std::string& name, const std::vector<std::string>& lines) {
    Row row;
    row.name = name;
    for (const std::string& line : lines) {
        std::istringstream fields(line.substr(line.find('\t', line.find('\t') + 1)));
        int after = 0;
        int next = 0;
        bool whole_after = false;
        bool whole_next = false;
        bool told = false;
        bool started = false;
        bool ended = false;
        fields >> ended >> after >> whole_after >> told >> next >> whole_next >> started;
        ++row.points;
        row.survived += ended ? 0 : 1;
        ++row.after[after];
        ++row.next[next];
        row.nothing_whole += !whole_after || !whole_next ? 1 : 0;
        row.untold += told ? 0 : 1;
        row.unstarted += started ? 0 : 1;
    }
    return row;
}

class Sweep {
public:
    Sweep(const Options& options, const fs::path& scratch)
        : m_options(options), m_scratch(scratch) {}

    int run() {
        int broken = 0;
        puts("## Upgrade over an old copy\n");
        print_header();
        int incomplete = 0;
        int nothing_whole = 0;
        for (const FaultKind& kind : kills) {
            const Row row = sweep(kind, true);
            incomplete += row.points - row.next[3];
            nothing_whole += row.nothing_whole;
        }
        int survived = 0;
        for (const FaultKind& kind : signals) {
            const Row row = sweep(kind, true);
            survived += row.survived;
            incomplete += row.points - row.next[3];
            nothing_whole += row.nothing_whole;
        }
        int neither = 0;
        for (const FaultKind& kind : errors) {
            const Row row = sweep(kind, true);
            neither += row.after[0] + row.after[1];
            nothing_whole += row.nothing_whole;
        }
        const Row row = sweep(full, true);
        const int not_back = row.after[0] + row.after[1];
        nothing_whole += row.nothing_whole;
        puts("\n## First installation\n");
        print_header();
        int first_incomplete = 0;
        for (const FaultKind& kind : kills) {
            const Row first = sweep(kind, false);
            first_incomplete += first.points - first.next[3];
        }
        puts("\n## Damaged package, upgrade over an old copy\n");
        puts("| damage | packages | old copy back |\n|---|---|---|");
        const int flips_lost = damaged("one bit flipped", 60);
        const int cuts_lost = damaged("cut short", 500);
        puts("\n## Figures\n\n| figure | found | must be |\n|---|---|---|");
        broken += figure("signals that do not end the launcher", survived);
        broken += figure("kills and signals after which the next start leaves an incomplete copy",
                         incomplete);
        broken += figure("points at which no whole copy exists anywhere", nothing_whole);
        broken += figure("single errors after which the copy is neither old nor new", neither);
        broken += figure("full disks after which no whole copy is live", not_back);
        broken +=
            figure("first installations that the next start leaves incomplete", first_incomplete);
        broken +=
            figure("damaged packages after which the old copy is not live", flips_lost + cuts_lost);
        return broken == 0 ? 0 : 1;
    }

private:
    static void print_header() {
        puts("| fault | points | right after: old | new | partial | none | next start: new | old | "
             "partial | none | no whole copy | log silent | client not started |\n"
             "|---|---|---|---|---|---|---|---|---|---|---|---|---|");
    }

    static int figure(const char* name, int found) {
        printf("| %s | %d | 0 |\n", name, found);
        return found;
    }

    Row sweep(const FaultKind& kind, bool with_old_copy) {
        const auto lines = in_parallel(m_scratch, m_options.jobs, [&](int job, std::ostream& out) {
            const Scenario user(m_scratch, job);
            user.reset_home(with_old_copy);
            const int points = static_cast<int>(user.run_with({}).calls.size());
            for (int point = job * m_options.every; point < points;
                 point += m_options.jobs * m_options.every) {
                print(out, point, strike(user, kind, point, with_old_copy));
            }
        });
        note(kind.name, with_old_copy, lines);
        const Row row = count(kind.name, lines);
        printf("| %s | %d | %d | %d | %d | %d | %d | %d | %d | %d | %d | %d | %d |\n", kind.name,
               row.points, row.after[2], row.after[3], row.after[1], row.after[0], row.next[3],
               row.next[2], row.next[1], row.next[0], row.nothing_whole, row.untold, row.unstarted);
        fflush(stdout);
        return row;
    }

    void note(const char* kind, bool with_old_copy, const std::vector<std::string>& lines) const {
        if (m_options.details.empty()) {
            return;
        }
        std::ofstream file(m_options.details, std::ios::app);
        for (const std::string& line : lines) {
            file << (with_old_copy ? "upgrade" : "first") << '\t' << kind << '\t' << line << '\n';
        }
    }

    /// \return in how many cases the old copy was not live afterwards.
    int damaged(const std::string& how, int cases) {
        const bool flip = how == "one bit flipped";
        const auto lines = in_parallel(m_scratch, m_options.jobs, [&](int job, std::ostream& out) {
            Scenario user(m_scratch, job);
            user.use_own_installation();
            std::ifstream source(user.package(), std::ios::binary);
            const std::string sound{std::istreambuf_iterator<char>(source), {}};
            for (int i = job * m_options.every; i < cases; i += m_options.jobs * m_options.every) {
                const size_t at =
                    sound.size() * static_cast<size_t>(i) / static_cast<size_t>(cases);
                std::string package = sound.substr(0, flip ? sound.size() : at);
                if (flip) {
                    package[at] = static_cast<char>(package[at] ^ (1 << (i % 8)));
                }
                std::ofstream(user.package(), std::ios::binary) << package;
                user.reset_home(true);
                user.run();
                out << (user.live() == Copy::old_one ? "back" : "lost") << '\t' << at << '\n';
            }
            fs::remove_all(user.package().parent_path().parent_path());
        });
        note(how.c_str(), true, lines);
        const auto lost = std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
            return line.compare(0, 4, "lost") == 0;
        });
        printf("| %s | %zu | %zu |\n", how.c_str(), lines.size(),
               lines.size() - static_cast<size_t>(lost));
        fflush(stdout);
        return static_cast<int>(lost);
    }

    const Options m_options;
    const fs::path m_scratch;
};

// Permissions bind an ordinary user only, and tests may well be run as root.
void become_ordinary() {
    constexpr int nobody = 65534;
    if (geteuid() == 0 &&
        (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)) {
        throw std::runtime_error("cannot become an ordinary user");
    }
}

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--every" && i + 1 < argc) {
            options.every = std::max(1, std::stoi(argv[++i]));
        } else if (word == "--jobs" && i + 1 < argc) {
            options.jobs = std::max(1, std::stoi(argv[++i]));
        } else if (word == "--details" && i + 1 < argc) {
            options.details = fs::absolute(argv[++i]);
        } else {
            options.installation = fs::absolute(word);
        }
    }
    if (options.installation.empty()) {
        throw std::runtime_error(
            "usage: fault-sweep INSTALLATION [--every N] [--jobs N] [--details FILE]");
    }
    return options;
}

// Everything that needs no privileges: the whole sweep, below `scratch`.
int sweep_as_ordinary_user(const Options& options, const fs::path& scratch) {
    try {
        become_ordinary();
        fs::create_directory(scratch / "user");
        Scenario::set_up(scratch / "installation", scratch / "user");
        return Sweep(options, scratch / "user").run();
    } catch (const std::exception& problem) {
        fprintf(stderr, "fault-sweep: %s\n", problem.what());
        return 2;
    }
}

} // namespace

int main(int argc, char** argv) {
    try {
        const Options options = parse(argc, argv);
        char name[] = "/tmp/fault-sweep-XXXXXX";
        const fs::path scratch = mkdtemp(name);
        fs::permissions(scratch, fs::perms::all);
        // Copied while root still may read it: a checkout need not be open to everybody.
        fs::copy(options.installation, scratch / "installation",
                 fs::copy_options::recursive | fs::copy_options::copy_symlinks);
        const pid_t child = fork();
        if (child == 0) {
            const int status = sweep_as_ordinary_user(options, scratch);
            fflush(nullptr);
            _exit(status);
        }
        int status = 0;
        waitpid(child, &status, 0);
        fs::remove_all(scratch);
        return WIFEXITED(status) ? WEXITSTATUS(status) : 2;
    } catch (const std::exception& problem) {
        fprintf(stderr, "fault-sweep: %s\n", problem.what());
        return 2;
    }
}
