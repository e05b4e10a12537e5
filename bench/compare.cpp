// Runs commands side by side, interleaved, and prints medians with their spread, and the medians of
// each round's ratios to the first one. A machine that is busy with other things, or slower for a
// while, disturbs all of a round alike.
//
//   compare [--rounds N] [--before COMMAND] [--values FILE] NAME COMMAND [NAME COMMAND ...]
//
// COMMAND is run by /bin/sh; --before runs before every one of them and is not measured. FILE
// receives a line for each run, for other programs: name, CPU ms, wall ms, peak MiB.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

struct Sample {
    double wall; // seconds
    double cpu;  // seconds, user and system, children included
    double peak; // KiB
};

struct Contender {
    std::string name;
    std::string command;
    std::vector<Sample> samples;
};

struct Options {
    int rounds = 11;
    std::string before;
    std::string values;
    std::vector<Contender> contenders;
};

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

Sample run(const std::string& command) {
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        if (freopen("/dev/null", "w", stdout) != nullptr &&
            freopen("/dev/null", "w", stderr) != nullptr) {
            execl("/bin/sh", "sh", "-c", ("exec " + command).c_str(), nullptr);
        }
        _exit(127);
    }
    int status = 0;
    rusage usage = {};
    wait4(child, &status, 0, &usage);
    const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - begin;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("failed: " + command);
    }
    return {wall.count(), seconds(usage.ru_utime) + seconds(usage.ru_stime),
            static_cast<double>(usage.ru_maxrss)};
}

void run_before(const std::string& command) {
    // NOLINTNEXTLINE(cert-env33-c): the benchmark's own words, no input
    if (!command.empty() && system(command.c_str()) != 0) {
        throw std::runtime_error("failed: " + command);
    }
}

struct Statistic {
    double median;
    double spread; // half of the range between the quartiles, as a part of the median
};

Statistic statistic(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    const double median = values[n / 2];
    return {median, median > 0 ? (values[n * 3 / 4] - values[n / 4]) / 2 / median : 0};
}

Statistic statistic(const Contender& contender, double Sample::*field) {
    std::vector<double> values;
    for (const Sample& sample : contender.samples) {
        values.push_back(sample.*field);
    }
    return statistic(values);
}

double ratio(const Contender& contender, const Contender& base, double Sample::*field) {
    std::vector<double> values;
    for (size_t round = 0; round < base.samples.size(); ++round) {
        values.push_back(contender.samples[round].*field / base.samples[round].*field);
    }
    return statistic(values).median;
}

void print(const std::vector<Contender>& contenders) {
    puts("| what | CPU ms | ± | ratio | wall ms | ± | ratio | peak MiB | more |\n"
         "|---|---|---|---|---|---|---|---|---|");
    const Contender& base = contenders[0];
    const double peak0 = statistic(base, &Sample::peak).median;
    for (const Contender& contender : contenders) {
        const Statistic cpu = statistic(contender, &Sample::cpu);
        const Statistic wall = statistic(contender, &Sample::wall);
        const Statistic peak = statistic(contender, &Sample::peak);
        printf("| %s | %.1f | %.0f %% | %.2f | %.1f | %.0f %% | %.2f | %.1f | %+.1f |\n",
               contender.name.c_str(), cpu.median * 1e3, cpu.spread * 100,
               ratio(contender, base, &Sample::cpu), wall.median * 1e3, wall.spread * 100,
               ratio(contender, base, &Sample::wall), peak.median / 1024,
               (peak.median - peak0) / 1024);
    }
}

void write_values(const Options& options) {
    FILE* const file = fopen(options.values.c_str(), "w");
    if (file == nullptr) {
        throw std::runtime_error("cannot write: " + options.values);
    }
    for (const Contender& contender : options.contenders) {
        for (const Sample& sample : contender.samples) {
            fprintf(file, "%s\t%.3f\t%.3f\t%.2f\n", contender.name.c_str(), sample.cpu * 1e3,
                    sample.wall * 1e3, sample.peak / 1024);
        }
    }
    fclose(file);
}

Options parse(int argc, char** argv) {
    Options options;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string word = argv[i];
        if (word == "--rounds") {
            options.rounds = std::max(1, atoi(argv[i + 1])); // NOLINT(cert-err34-c)
        } else if (word == "--before") {
            options.before = argv[i + 1];
        } else if (word == "--values") {
            options.values = argv[i + 1];
        } else {
            options.contenders.push_back({word, argv[i + 1], {}});
        }
    }
    if (options.contenders.empty()) {
        throw std::runtime_error(
            "usage: compare [--rounds N] [--before COMMAND] [--values FILE] NAME COMMAND ...");
    }
    return options;
}

} // namespace

int main(int argc, char** argv) {
    try {
        Options options = parse(argc, argv);
        for (int round = -1; round < options.rounds; ++round) { // the first warms up
            for (Contender& contender : options.contenders) {
                run_before(options.before);
                const Sample sample = run(contender.command);
                if (round >= 0) {
                    contender.samples.push_back(sample);
                }
            }
        }
        print(options.contenders);
        if (!options.values.empty()) {
            write_values(options);
        }
        return 0;
    } catch (const std::exception& problem) {
        fprintf(stderr, "compare: %s\n", problem.what());
        return 1;
    }
}
