#include "standins/service-daemon/Outbox.h"

#include "standins/service-daemon/Print.h"

#include <algorithm>
#include <utility>

namespace kvn::daemon {

void Outbox::answer(ServerPipe& pipe, const std::string& peer, const std::string& message) {
    if (faults.silent) {
        return;
    }
    if (faults.late.count() > 0) {
        loop_.postAfter(faults.late, [this, &pipe, peer, message] { deliver(pipe, peer, message); });
        return;
    }
    deliver(pipe, peer, message);
}

void Outbox::deliver(ServerPipe& pipe, const std::string& peer, const std::string& message) {
    if (faults.nonsense > 0) {
        --faults.nonsense;
        push(pipe, peer, nextNonsense(message));
    } else if (std::exchange(faults.split, false)) {
        // Long enough for the reader to take the first piece alone.
        constexpr std::chrono::milliseconds kPause{100};
        const std::size_t half = message.size() / 2;
        push(pipe, peer, message.substr(0, half));
        loop_.postAfter(kPause, [this, &pipe, peer, rest = message.substr(half)] { push(pipe, peer, rest); });
    } else {
        push(pipe, peer, message);
    }
}

bool Outbox::push(ServerPipe& pipe, const std::string& peer, const std::string& message) {
    const bool sent = pipe.send(peer, message);
    print(sent ? "->" : "-x", peer, message);
    return sent;
}

std::string Outbox::nextNonsense(const std::string& message) {
    switch (nonsenseKind_++ % kNonsenseKinds) {
    case 0:
        return message.substr(0, message.find_last_of('<')) + "</Statu>";
    case 1:
        return std::string(64, '\0');
    case 2: {
        std::string bytes(512, '\0');
        std::generate(bytes.begin(), bytes.end(), [this] { return static_cast<char>(random_() >> 8); });
        return bytes;
    }
    case 3:
        return message.substr(0, message.size() / 2);
    case 4: {
        std::string open;
        while (open.size() < 100'000) {
            open += "<a>";
        }
        return open;
    }
    default:
        return "<<<>>>< Status Value=\"online RequestData=1 /></>&#;&#x;" + message.substr(1);
    }
}

} // namespace kvn::daemon
