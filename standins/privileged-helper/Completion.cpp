#include "standins/privileged-helper/Completion.h"

#include "privileged-helper/shared/PHProtocolHandler.h"

#include <nlohmann/json.hpp>

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

PHMessage completionEvent(const std::string& command, const Outcome& outcome, const PHMessage* response) {
    std::string name = command;
    while (name.size() > kLongestName) {
        shorten(name);
    }
    PHMessage event = {{"Event", "CommandCompleted"}, {"Cmd", name}, {"status", outcome.status}};
    if (response) {
        event["Response"] = *response;
    }
    for (std::string details = outcome.details; !details.empty(); shorten(details)) {
        event["ErrorDetails"] = details;
        if (event.dump(-1, ' ', false, PHMessage::error_handler_t::replace).size() <=
            PHProtocolHandler::kMaxBody) {
            return event;
        }
        event.erase("ErrorDetails");
    }
    return event;
}

} // namespace kvn::helper
