#include "remote/platform/ClientArguments.h"

#include <utility>

namespace kvn {

namespace {

constexpr std::string_view kWhitespace = " \t";

constexpr std::pair<std::string_view, std::string_view> kClientOptions[] = {
    {"/sessionid:", "-sid:"},
    {"/remoteuser:", "-sessionclientname:"},
    {"/proxyconfig:", "-proxyconfig:"},
    {"/transferlog:", "-transferlog:"},
};

std::string_view trimmed(std::string_view text) {
    const auto begin = text.find_first_not_of(kWhitespace);
    if (begin == text.npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(kWhitespace) - begin + 1);
}

std::size_t endOfArgument(std::string_view text) {
    bool inQuotes = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"') {
            inQuotes = !inQuotes;
        } else if (!inQuotes && kWhitespace.find(text[i]) != kWhitespace.npos) {
            return i;
        }
    }
    return text.size();
}

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
    for (auto at = text.find(from); at != text.npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

} // namespace

std::vector<std::string> clientArguments(std::string_view parameters) {
    std::vector<std::string> arguments;
    for (std::string_view rest = trimmed(parameters); !rest.empty();) {
        const std::size_t end = endOfArgument(rest);
        std::string& argument = arguments.emplace_back(rest.substr(0, end));
        for (const auto& [serviceOption, clientOption] : kClientOptions) {
            replaceAll(argument, serviceOption, clientOption);
        }
        rest = trimmed(rest.substr(end));
    }
    return arguments;
}

} // namespace kvn
