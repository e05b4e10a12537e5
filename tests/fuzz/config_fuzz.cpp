// The reader of the pid file and the level file: what it has read, written out again, reads alike.
#include "lib/config.h"
#include "tests/fuzz/require.h"
#include "tests/fuzz/scratch.h"

#include <algorithm>
#include <map>
#include <string>

namespace {

using Entries = std::map<std::string, std::string>;

constexpr size_t longestLine = 8000; // below the length at which the reader cuts lines

bool all(const std::string& text, bool (*belongs)(unsigned char)) {
    return std::all_of(text.begin(), text.end(),
                       [belongs](char c) { return belongs(static_cast<unsigned char>(c)); });
}

/// The entry as a line; empty where no quotes can hold the value.
std::string line(const std::string& key, const std::string& value) {
    for (const char quote : {'\'', '"'}) {
        if (value.find(quote) == std::string::npos) {
            return key + "=" + quote + value + quote + "\n";
        }
    }
    return {};
}

void readAgain(const Entries& entries) {
    const std::string path = scratchFolder() + "/again";
    std::string text;
    Entries written;
    for (const auto& [key, value] : entries) {
        const std::string added = line(key, value);
        if (!added.empty() && added.size() < longestLine) {
            text += added;
            written[key] = value;
        }
    }
    writeScratch(path, reinterpret_cast<const uint8_t*>(text.data()), text.size());
    Config again;
    require(again.read(path) == 0, "entries written out can be read");
    require(Entries(again.begin(), again.end()) == written, "entries written out read alike");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const std::string path = scratchFolder() + "/input";
    writeScratch(path, bytes, size);
    Config config;
    const int result = config.read(path);
    const Entries entries(config.begin(), config.end());
    require(result == 0 || result == -1, "the result is 0 or -1");
    require(result == 0 || entries.empty(), "a malformed line leaves nothing");
    for (const auto& [key, value] : entries) {
        require(all(key, &Config::is_key_char), "a key holds key characters only");
        require(all(value, &Config::is_value_char), "a value holds value characters only");
    }
    readAgain(entries);
    return 0;
}
