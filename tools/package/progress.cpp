#include "tools/package/progress.h"

#include <unistd.h>

#include <cstdio>
#include <utility>

namespace package {

namespace {

constexpr std::chrono::milliseconds pace(100);

std::string outOf(const std::string& done, const std::string& total, bool isKnown) {
    return isKnown ? done + " of " + total : done;
}

std::string megabytes(uint64_t bytes) {
    char text[32];
    snprintf(text, sizeof text, "%.1f", static_cast<double>(bytes) / 1e6);
    return text;
}

} // namespace

Progress::Progress(std::string step, uint64_t totalBytes, size_t totalEntries)
    : m_step(std::move(step)), m_totalBytes(totalBytes), m_totalEntries(totalEntries),
      m_isSeen(isatty(STDERR_FILENO) == 1), m_next(std::chrono::steady_clock::now()) {}

Progress::~Progress() {
    if (m_isSeen) {
        fputs("\r\033[K", stderr); // the line goes
    }
}

void Progress::show(uint64_t bytes, size_t entries) {
    const auto now = std::chrono::steady_clock::now();
    if (!m_isSeen || now < m_next) {
        return;
    }
    m_next = now + pace;
    const std::string seen =
        m_step + ": " + outOf(megabytes(bytes), megabytes(m_totalBytes), m_totalBytes > 0) +
        " MB, " +
        outOf(std::to_string(entries), std::to_string(m_totalEntries), m_totalEntries > 0) +
        " entries";
    fprintf(stderr, "\r%s\033[K", seen.c_str());
    fflush(stderr);
}

} // namespace package
