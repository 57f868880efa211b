// SPDX-License-Identifier: MIT

#include "remote/platform/ClientArguments.h"

#include <utility>

namespace kvn {

namespace {

/// The tab and Unicode's space separators, in UTF-8.
constexpr std::string_view kWhitespace[] = {
    "\t",           " ",
    "\xC2\xA0",     "\xE1\x9A\x80",
    "\xE2\x80\x80", "\xE2\x80\x81",
    "\xE2\x80\x82", "\xE2\x80\x83",
    "\xE2\x80\x84", "\xE2\x80\x85",
    "\xE2\x80\x86", "\xE2\x80\x87",
    "\xE2\x80\x88", "\xE2\x80\x89",
    "\xE2\x80\x8A", "\xE2\x80\xAF",
    "\xE2\x81\x9F", "\xE3\x80\x80",
};

constexpr std::pair<std::string_view, std::string_view> kClientOptions[] = {
    {"/sessionid:", "-sid:"},
    {"/remoteuser:", "-sessionclientname:"},
    {"/proxyconfig:", "-proxyconfig:"},
    {"/transferlog:", "-transferlog:"},
};

/// Returns the length of the white-space character that the text starts with, or 0.
std::size_t whitespaceAt(std::string_view text) {
    for (const std::string_view space : kWhitespace) {
        if (text.starts_with(space)) {
            return space.size();
        }
    }
    return 0;
}

std::string_view withoutLeadingWhitespace(std::string_view text) {
    while (const std::size_t length = whitespaceAt(text)) {
        text.remove_prefix(length);
    }
    return text;
}

std::size_t endOfArgument(std::string_view text) {
    bool inQuotes = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '"') {
            inQuotes = !inQuotes;
        } else if (!inQuotes && whitespaceAt(text.substr(i)) > 0) {
            return i;
        }
    }
    return text.size();
}

std::string_view withoutTrailingWhitespace(std::string_view text) {
    for (const std::string_view space : kWhitespace) {
        if (text.ends_with(space)) {
            return withoutTrailingWhitespace(text.substr(0, text.size() - space.size()));
        }
    }
    return text;
}

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
    for (auto at = text.find(from); at != text.npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

} // namespace

std::vector<std::string> clientArguments(std::string_view parameters) {
    std::vector<std::string> arguments;
    std::string_view rest = withoutLeadingWhitespace(withoutTrailingWhitespace(parameters));
    while (!rest.empty()) {
        const std::size_t end = endOfArgument(rest);
        std::string& argument = arguments.emplace_back(rest.substr(0, end));
        for (const auto& [serviceOption, clientOption] : kClientOptions) {
            replaceAll(argument, serviceOption, clientOption);
        }
        rest = withoutLeadingWhitespace(rest.substr(end));
    }
    return arguments;
}

} // namespace kvn
