#include "tests/support/CapturedLog.h"
#include "tests/support/WaitUntil.h"
#include "tests/unit/privileged-helper/client/HelperFixture.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <thread>
#include <vector>

namespace kvn::test {
namespace {

using Reports = std::vector<std::string>;

class Recorder : public PHConnectionDelegate {
public:
    void connctionFailedWithError(PHProtocolHandler& handler, const host::Error& error) override {
        EXPECT_FALSE(handler.isConnected());
        reports.push_back(error.domain + " " + std::to_string(error.code) + " " + error.reason);
    }
    void connectionClosed(PHProtocolHandler& handler) override {
        EXPECT_FALSE(handler.isConnected());
        reports.push_back("closed");
    }
    Reports reports;
};

std::string bodyOf(std::size_t size) { return "[\"" + std::string(size - 4, 'x') + "\"]"; }

const char* const kHeaderAfterError = "IO 9 Failed to read message header, error: 9";
const Reports kNotJson = {"PH -101 Failed to deserialize message", kHeaderAfterError};

Reports invalidSize(const std::string& size) {
    return {"IO -101 Invalid message size: " + size + ", error: -101"};
}

TEST(PHProtocolHandler, ReadsFramesAndRefusesBrokenOnes) {
    const struct {
        std::string bytes;
        std::string message; // empty when none is accepted
        Reports reports;
    } cases[] = {
        {"F7100015{\"Ctrl\":\"getVersion\"}", "{\"Ctrl\":\"getVersion\"}", {}},
        {"???00002[]", "[]", {}}, // nobody looks at the prefix
        {"F71001FF" + bodyOf(511), bodyOf(511), {}},
        {"F710001f" + bodyOf(31), bodyOf(31), {}},
        {"F710012G" + bodyOf(18), bodyOf(18), {}}, // what a reader of hexadecimal numbers takes
        {"F710x012" + bodyOf(18), bodyOf(18), {}},
        {"F71  +12" + bodyOf(18), bodyOf(18), {}},
        {"F7100000", "", invalidSize("0")},
        {"F71ZZZZZ", "", invalidSize("0")},
        {std::string("F71\0\0\0\0\0", 8), "", invalidSize("0")},
        {"F7100200" + bodyOf(512), "", invalidSize("512")},
        {"F71FFFFF", "", invalidSize("1048575")},
        {"F71-0002[]", "", invalidSize("-2")},
        {"F7100003{a}", "", kNotJson},
        {"F7100004\"ab\"", "", kNotJson},
        {"F710000212", "", kNotJson},
        {"F7100004null", "", kNotJson},
        {std::string("F7100003{}\0", 11), "", kNotJson},
        {"F7100005[\"\xC3\"]", "", kNotJson},
        {"F7100007[1e999]", "", kNotJson},
        {"F71001FE" + std::string(255, '[') + std::string(255, ']'),
         std::string(255, '[') + std::string(255, ']'),
         {}},
        {"F71001FF" + std::string(511, '['), "", kNotJson},
    };
    const CapturedLog log;
    for (const auto& [bytes, expected, reports] : cases) {
        SocketPair sockets;
        Recorder recorder;
        PHProtocolHandler handler(std::move(sockets.ours), true);
        handler.setDelegate(&recorder);
        sockets.write(bytes);
        const auto message = handler.readMessage();
        EXPECT_EQ(message ? message->dump() : "", expected) << bytes;
        EXPECT_EQ(recorder.reports, reports) << bytes;
        EXPECT_EQ(handler.isConnected(), !expected.empty()) << bytes;
    }
}

TEST(PHProtocolHandler, TellsThePeersEndOnceWhereverItComes) {
    const std::string frame = "F7100015{\"Ctrl\":\"getVersion\"}";
    for (std::size_t size = 0; size < frame.size(); ++size) {
        SocketPair sockets;
        Recorder recorder;
        PHProtocolHandler handler(std::move(sockets.ours), false);
        handler.setDelegate(&recorder);
        sockets.write(frame.substr(0, size));
        sockets.peer.reset();
        EXPECT_FALSE(handler.readMessage());
        EXPECT_FALSE(handler.readMessage());
        EXPECT_FALSE(handler.sendMessage(PHMessage::object()));
        EXPECT_EQ(recorder.reports,
                  (Reports{"closed", "IO -102 PHProtocolhandler connection closed, error: -102",
                           "IO -102 Can't send message, not connected, error: -102"}))
            << size;
    }
}

TEST(PHProtocolHandler, SendsWholeFramesOrNothing) {
    const CapturedLog log;
    SocketPair sockets;
    Recorder recorder;
    PHProtocolHandler handler(std::move(sockets.ours), true);
    handler.setDelegate(&recorder);
    EXPECT_TRUE(handler.sendMessage({{"task", "/bin/\xC3\xBC"}, {"args", {"a b"}}}));
    EXPECT_FALSE(handler.sendMessage({{"task", "\xC3"}}));
    EXPECT_FALSE(handler.sendMessage("text"));
    EXPECT_FALSE(handler.sendMessage({{"task", std::string(0x100000, 'x')}}));
    EXPECT_TRUE(handler.isConnected());
    EXPECT_TRUE(recorder.reports.empty());

    const std::string expected = "F7100021{\"args\":[\"a b\"],\"task\":\"/bin/\xC3\xBC\"}";
    std::string received(1000, '\0');
    received.resize(static_cast<std::size_t>(::read(sockets.peer.get(), received.data(), received.size())));
    EXPECT_EQ(received, expected);
    EXPECT_TRUE(log.contains("Sending Message: " + expected.substr(8)));
    EXPECT_TRUE(log.contains("PHProtocolHandler: Failed to serialize msg, error: "));

    sockets.write("F7100012{ \"a\" :\t\"\u3000b c\" }");
    EXPECT_EQ(handler.readMessage(), PHMessage({{"a", "\u3000b c"}}));
    EXPECT_TRUE(log.contains("Received Message: {\"a\":\"bc\"}"));
}

TEST(PHProtocolHandler, LeavesANewerConnectionAlone) {
    SocketPair former, next;
    Recorder recorder;
    PHProtocolHandler handler(std::move(former.ours), false);
    handler.setDelegate(&recorder);
    std::thread reader([&, connection = handler.connection()] {
        EXPECT_FALSE(handler.readMessage(connection));
        EXPECT_FALSE(handler.readMessage(connection));
    });
    handler.setConnection(std::move(next.ours));
    reader.join();
    char byte = 0;
    EXPECT_EQ(::read(former.peer.get(), &byte, 1), 0);
    next.write("F7100002{}");
    EXPECT_TRUE(handler.readMessage());
    EXPECT_TRUE(recorder.reports.empty());
}

/// Is called for as long as somebody tries to take it away.
class SlowDelegate : public PHConnectionDelegate {
public:
    void connctionFailedWithError(PHProtocolHandler&, const host::Error&) override {}
    void connectionClosed(PHProtocolHandler& handler) override {
        called = true;
        waitUntil([this] { return removing.load(); });
        for (int i = 0; i < 1000; ++i) {
            std::this_thread::yield();
        }
        handler.sendMessage(PHMessage::object()); // reported at once
        handler.removeDelegate(*this);            // does not wait for itself
        finished = true;
    }
    std::atomic<bool> called = false;
    std::atomic<bool> removing = false;
    std::atomic<bool> finished = false;
};

TEST(PHProtocolHandler, TakesItsDelegateAwayBetweenCalls) {
    SocketPair sockets;
    SlowDelegate delegate;
    PHProtocolHandler handler(std::move(sockets.ours), false);
    handler.setDelegate(&delegate);
    sockets.peer.reset();
    std::thread reader([&] { EXPECT_FALSE(handler.readMessage()); });
    ASSERT_TRUE(waitUntil([&] { return delegate.called.load(); }));
    std::thread sender([&] { EXPECT_FALSE(handler.sendMessage(PHMessage::object())); }); // waits its turn
    delegate.removing = true;
    handler.removeDelegate(delegate);
    EXPECT_TRUE(delegate.finished);
    reader.join();
    sender.join();
}

TEST(PHMessage, KeepsFarNumbersFar) {
    const PHMessage message = {{"f", 2.9}, {"big", 1ULL << 63}, {"far", -1e300}, {"s", "text"}};
    EXPECT_EQ(integerIn(message, "f"), 2);
    EXPECT_EQ(integerIn(message, "big"), INT32_MAX);
    EXPECT_EQ(integerIn(message, "far"), INT32_MIN);
    EXPECT_EQ(integerIn(message, "s"), std::nullopt);
    EXPECT_EQ(stringIn(PHMessage::array({1}), "s"), std::nullopt);
}

TEST(PHSetNonBlocking, TogglesTheModeAndTellsWhyNot) {
    const CapturedLog log;
    const SocketPair sockets;
    const int descriptor = sockets.ours.get();
    for (const bool nonBlocking : {true, true, false}) {
        EXPECT_EQ(PHSetNonBlocking(descriptor, nonBlocking), 0);
        EXPECT_EQ((::fcntl(descriptor, F_GETFL) & O_NONBLOCK) != 0, nonBlocking);
    }
    EXPECT_EQ(PHSetNonBlocking(-1, true), EBADF);
    EXPECT_EQ(PHSetNonBlocking(99999, true), EBADF);
    EXPECT_TRUE(log.contains("Failed to set blocking mode: 0 for fd: 99999, error: 9"));
}

} // namespace
} // namespace kvn::test
