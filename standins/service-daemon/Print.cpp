#include "standins/service-daemon/Print.h"

#include <cstdio>
#include <string>

namespace kvn::daemon {
namespace {

constexpr std::size_t kMostShown = 4096;

std::string printable(std::string_view text) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string shown;
    for (const char c : text.substr(0, kMostShown)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) {
            shown += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 0xF]};
        } else {
            shown += c;
        }
    }
    if (text.size() > kMostShown) {
        shown += "... (" + std::to_string(text.size()) + " bytes)";
    }
    return shown;
}

} // namespace

void print(std::string_view mark, std::string_view peer, std::string_view text) {
    print(std::string(mark).append(" ").append(peer).append(" ").append(text));
}

void print(std::string_view line) {
    const std::string shown = printable(line) + "\n";
    std::fwrite(shown.data(), 1, shown.size(), stdout);
    std::fflush(stdout);
}

} // namespace kvn::daemon
