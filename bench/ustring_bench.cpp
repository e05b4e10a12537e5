// ustring beside std::string, and its conversions beside ICU called directly.

#include "lib/ustring/ustring.h"

#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace {

const char path[] = "/home/user/.AldaneTessel/AldaneTessel.app/lib/libtessel-transport.so.1";
const char accented[] = "/home/user/R\xC3\xA9sum\xC3\xA9/caf\xC3\xA9 cre\xCC\x80me/\xE6\x97\xA5";

template <class String>
void construct(benchmark::State& state) {
    for (auto _ : state) {
        String text(path);
        benchmark::DoNotOptimize(text);
    }
}

template <class String>
void copy(benchmark::State& state) {
    const String text(path);
    for (auto _ : state) {
        String other(text);
        benchmark::DoNotOptimize(other);
    }
}

template <class String>
void append(benchmark::State& state) {
    for (auto _ : state) {
        String text(path);
        for (int i = 0; i < 8; ++i) {
            text += "/component";
        }
        benchmark::DoNotOptimize(text);
    }
}

template <class String>
void compare(benchmark::State& state) {
    const String one(path);
    const String other(std::string(path) + "x");
    for (auto _ : state) {
        benchmark::DoNotOptimize(one < other);
    }
}

template <class String>
void find(benchmark::State& state) {
    const String text(path);
    for (auto _ : state) {
        benchmark::DoNotOptimize(text.find("transport", 0));
    }
}

void convert_icu(benchmark::State& state) {
    for (auto _ : state) {
        UErrorCode status = U_ZERO_ERROR;
        int32_t length = 0;
        u_strFromUTF8(nullptr, 0, &length, accented, -1, &status);
        status = U_ZERO_ERROR;
        std::vector<UChar> units(static_cast<size_t>(length) + 1);
        u_strFromUTF8(units.data(), length + 1, nullptr, accented, -1, &status);
        benchmark::DoNotOptimize(units.data());
    }
}

void convert_ustring(benchmark::State& state) {
    ustring text(accented);
    for (auto _ : state) {
        text.assign(accented);
        benchmark::DoNotOptimize(text.c_str_utf16());
    }
}

void normalize_icu(benchmark::State& state) {
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = 0;
    UChar source[256];
    u_strFromUTF8(source, 256, &length, accented, -1, &status);
    for (auto _ : state) {
        const UNormalizer2* const nfc = unorm2_getInstance(nullptr, "nfc", UNORM2_COMPOSE, &status);
        const int32_t need = unorm2_normalize(nfc, source, -1, nullptr, 0, &status);
        status = U_ZERO_ERROR;
        std::vector<UChar> units(static_cast<size_t>(need) + 1);
        unorm2_normalize(nfc, source, -1, units.data(), need + 1, &status);
        int32_t bytes = 0;
        u_strToUTF8(nullptr, 0, &bytes, units.data(), -1, &status);
        status = U_ZERO_ERROR;
        std::string text(static_cast<size_t>(bytes), '\0');
        u_strToUTF8(text.data(), bytes + 1, nullptr, units.data(), -1, &status);
        benchmark::DoNotOptimize(text.data());
    }
}

void normalize_ustring(benchmark::State& state) {
    const ustring source(accented);
    source.c_str_utf16();
    for (auto _ : state) {
        const ustring text = ustring::normalize(source, ustring::NFC);
        benchmark::DoNotOptimize(text.c_str());
    }
}

BENCHMARK(construct<std::string>);
BENCHMARK(construct<ustring>);
BENCHMARK(copy<std::string>);
BENCHMARK(copy<ustring>);
BENCHMARK(append<std::string>);
BENCHMARK(append<ustring>);
BENCHMARK(compare<std::string>);
BENCHMARK(compare<ustring>);
BENCHMARK(find<std::string>);
BENCHMARK(find<ustring>);
BENCHMARK(convert_icu);
BENCHMARK(convert_ustring);
BENCHMARK(normalize_icu);
BENCHMARK(normalize_ustring);

} // namespace

BENCHMARK_MAIN();
