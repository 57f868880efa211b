#include "standins/privileged-helper/Options.h"

#include <charconv>
#include <stdexcept>
#include <string_view>

namespace kvn::helper {

const char* const kUsage =
    "usage: KvnServiceController [--root DIR] [--version V] [--task-limit MILLISECONDS]\n"
    "                            [--fault FAULT]... [--status-of COMMAND=N[:DETAILS]]... [--help]\n"
    "\n"
    "  --root DIR       a folder that stands for / in every fixed path\n"
    "  --version V      the version to tell, in place of the one in the executable\n"
    "  --task-limit MS  the time after which a task is killed (default: 60000)\n"
    "  --status-of ...  how a command ends, which is not carried out then\n"
    "  --fault FAULT    refuse (close every connection at once), handshake:KIND (in place of the version)\n"
    "                   or completion:KIND (in place of completions); KIND is one of\n"
    "                   silent close short-header short-body oversize bad-json\n"
    "  --listener FD, --service PID  what the helper hands on when it starts itself anew: the listening\n"
    "                   socket and its child, the running service\n";

namespace {

int numberIn(std::string_view text, const std::string& option) {
    int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw std::invalid_argument(option + " needs a number, not " + std::string(text));
    }
    return number;
}

void addFault(Options& options, const std::string& text) {
    static const std::map<std::string, Fault> kKinds = {
        {"silent", Fault::Silent},        {"close", Fault::Close},       {"short-header", Fault::ShortHeader},
        {"short-body", Fault::ShortBody}, {"oversize", Fault::Oversize}, {"bad-json", Fault::BadJson},
    };
    const auto colon = text.find(':');
    const std::string place = text.substr(0, colon);
    const auto kind = kKinds.find(colon == text.npos ? "" : text.substr(colon + 1));
    if (text == "refuse") {
        options.refuse = true;
    } else if (kind != kKinds.end() && (place == "handshake" || place == "completion")) {
        (place == "handshake" ? options.handshake : options.completion) = kind->second;
    } else {
        throw std::invalid_argument("unknown fault " + text);
    }
}

void addStatus(Options& options, const std::string& text) {
    const auto equals = text.find('=');
    if (equals == text.npos) {
        throw std::invalid_argument("--status-of needs COMMAND=N, not " + text);
    }
    const auto colon = text.find(':', equals);
    const std::string_view number = std::string_view(text).substr(equals + 1, colon - equals - 1);
    options.statusOf[text.substr(0, equals)] = {numberIn(number, "--status-of"),
                                                colon == text.npos ? "" : text.substr(colon + 1)};
}

} // namespace

Options parseOptions(const std::vector<std::string>& arguments) {
    Options options;
    for (auto argument = arguments.begin(); argument != arguments.end(); ++argument) {
        const std::string& name = *argument;
        if (name == "--help") {
            options.help = true;
            return options;
        }
        if (name != "--root" && name != "--version" && name != "--task-limit" && name != "--fault" &&
            name != "--status-of" && name != kListenerOption && name != kServiceOption) {
            throw std::invalid_argument("unknown option " + name);
        }
        if (++argument == arguments.end() || argument->empty()) {
            throw std::invalid_argument(name + " needs a value");
        }
        if (name == "--root") {
            options.root = *argument;
        } else if (name == "--version") {
            options.version = *argument;
        } else if (name == "--task-limit") {
            options.taskLimit = std::chrono::milliseconds(numberIn(*argument, name));
        } else if (name == "--fault") {
            addFault(options, *argument);
        } else if (name == "--status-of") {
            addStatus(options, *argument);
        } else {
            (name == kListenerOption ? options.listener : options.service) = numberIn(*argument, name);
        }
    }
    return options;
}

} // namespace kvn::helper
