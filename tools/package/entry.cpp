#include "tools/package/entry.h"

#include <cstdio>

namespace package {

std::string toLine(const Finding& finding) {
    return "'" + printable(finding.entry) + "': " + printable(finding.rule) + "; " +
           printable(finding.remedy);
}

std::string printable(const std::string& text) {
    std::string result;
    for (const unsigned char byte : text) {
        if (byte >= 0x20 && byte < 0x7f) {
            result += static_cast<char>(byte);
        } else {
            char hex[8];
            snprintf(hex, sizeof hex, "\\x%02x", byte);
            result += hex;
        }
    }
    return result;
}

} // namespace package
