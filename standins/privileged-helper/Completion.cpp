#include "standins/privileged-helper/Completion.h"

#include "privileged-helper/shared/PHProtocolHandler.h"

namespace kvn::helper {
namespace {

constexpr std::size_t kLongestName = 64; // far more than any command's

/// Takes the last character away.
void shorten(std::string& text) {
    constexpr auto isContinuation = [](char c) { return (c & 0xC0) == 0x80; };
    while (text.size() > 1 && isContinuation(text.back())) {
        text.pop_back();
    }
    text.pop_back();
}

} // namespace

PHMessage completionEvent(const std::string& command, const Outcome& outcome,
                          const std::optional<PHMessage>& response) {
    std::string name = command;
    while (name.size() > kLongestName) {
        shorten(name);
    }
    const auto event = [&](const std::optional<PHMessage>& details) {
        return PHMessage{{"Event", "CommandCompleted"},
                         {"Cmd", name},
                         {"status", outcome.status},
                         {"Response", response},
                         {"ErrorDetails", details}};
    };
    for (std::string details = outcome.details; !details.empty(); shorten(details)) {
        if (PHMessage message = event(details); message.text().size() <= PHProtocolHandler::kMaxBody) {
            return message;
        }
    }
    return event(std::nullopt);
}

} // namespace kvn::helper
