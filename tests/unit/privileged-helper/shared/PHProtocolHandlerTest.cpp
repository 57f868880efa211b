// SPDX-License-Identifier: MIT

#include "privileged-helper/shared/PHProtocolHandler.h"
#include "tests/support/Test.h"
#include "tests/unit/privileged-helper/SocketPair.h"

namespace kvn::test {
namespace {

using Reports = std::vector<std::string>;

const PHMessage kMessage = {{"Ctrl", "bye"}};

class Recorder : public PHConnectionDelegate {
public:
    void connctionFailedWithError(PHProtocolHandler& handler, const host::Error& error) override {
        EXPECT_FALSE(handler.isConnected());
        reports.push_back(error.domain + " " + std::to_string(error.code) + " " + error.reason);
    }
    void connectionClosed(PHProtocolHandler& handler) override {
        EXPECT_FALSE(handler.isConnected());
        reports.push_back("closed");
        whenClosed();
    }
    Reports reports;
    std::function<void()> whenClosed = [] {};
};

std::string bodyOf(std::size_t size) { return "[\"" + std::string(size - 4, 'x') + "\"]"; }

Reports invalidSize(const std::string& size) {
    return {"IO -101 Invalid message size: " + size + ", error: -101"};
}

TEST(PHProtocolHandler, CountsAMessageBeforeItsAnswerCanBeRead) {
    SocketPair sockets;
    PHProtocolHandler handler(std::move(sockets.ours), false);
    // Longer than what a socket takes at once, so that the write waits for the reader.
    std::thread sender([&] { handler.sendMessage({{"Cmd", std::string(900'000, 'x')}}); });
    char byte = 0;
    EXPECT_EQ(::read(sockets.peer.get(), &byte, 1), 1);
    EXPECT_EQ(handler.sentMessages(), 1U);
    sockets.peer.reset();
    sender.join();
    EXPECT_EQ(handler.sentMessages(), 0U);
}

TEST(PHProtocolHandler, ReadsFramesAndReportsBrokenOnes) {
    const Reports notJson = {"PH -101 Failed to deserialize message",
                             "IO 9 Failed to read message header, error: 9"};
    const struct {
        std::string bytes;
        std::string message; // empty when none is accepted
        Reports reports;
    } cases[] = {
        {"???00002[]", "[]", {}}, // the prefix is not checked
        {"F71001FF" + bodyOf(511), bodyOf(511), {}},
        {"F7100200" + bodyOf(512), "", invalidSize("512")},
        {"F710001f" + bodyOf(31), bodyOf(31), {}},
        {"F710012G" + bodyOf(18), bodyOf(18), {}}, // a scanner of hexadecimal numbers accepts this
        {"F71  +12" + bodyOf(18), bodyOf(18), {}},
        {"F71-0002[]", "", invalidSize("-2")},
        {std::string("F71\0\0\0\0\0", 8), "", invalidSize("0")},
        {"F7100003{a}", "", notJson},
        {std::string("F7100003{}\0", 11), "", notJson},
        {"F7100005[\"\xC3\"]", "", notJson},
        {"", "", {"closed"}},
        {"F710000", "", {"closed"}},
        {"F7100003[1", "", {"closed"}},
    };
    const CapturedLog log;
    for (const auto& [bytes, expected, reports] : cases) {
        SocketPair sockets;
        Recorder recorder;
        PHProtocolHandler handler(std::move(sockets.ours), true);
        handler.setDelegate(&recorder);
        sockets.write(bytes);
        sockets.peer.reset();
        const auto message = handler.readMessage();
        EXPECT_EQ(message ? message->text() : "", expected) << bytes;
        EXPECT_EQ(recorder.reports, reports) << bytes;
        EXPECT_EQ(handler.isConnected(), !expected.empty()) << bytes;
    }
}

TEST(PHProtocolHandler, SendsWholeFramesWhileItIsConnected) {
    const CapturedLog log;
    SocketPair sockets;
    Recorder recorder;
    PHProtocolHandler handler(std::move(sockets.ours), true);
    handler.setDelegate(&recorder);
    EXPECT_FALSE(handler.sendMessage({{"task", "\xC3"}}));
    EXPECT_FALSE(handler.sendMessage("text"));
    EXPECT_FALSE(handler.sendMessage({{"task", std::string(0x100000, 'x')}}));
    EXPECT_TRUE(handler.sendMessage({{"task", "/bin/\xC3\xBC"}, {"args", std::vector<std::string>{"a"}}}));
    std::string received(1000, '\0');
    received.resize(static_cast<std::size_t>(::read(sockets.peer.get(), received.data(), received.size())));
    EXPECT_EQ(received, "F710001F{\"args\":[\"a\"],\"task\":\"/bin/\xC3\xBC\"}");
    EXPECT_TRUE(log.contains("Sending Message: " + received.substr(8)));
    EXPECT_TRUE(log.contains("PHProtocolHandler: Failed to serialize msg, error: "));

    sockets.write("F7100012{ \"a\" :\t\"\u3000b c\" }");
    EXPECT_EQ(handler.readMessage()->text(), "{\"a\":\"\u3000b c\"}");
    EXPECT_TRUE(log.contains("Received Message: {\"a\":\"bc\"}"));

    sockets.peer.reset();
    EXPECT_FALSE(handler.sendMessage(kMessage));
    EXPECT_FALSE(handler.sendMessage(kMessage));
    EXPECT_FALSE(handler.readMessage());
    EXPECT_EQ(recorder.reports, (Reports{"closed", "IO -102 Can't send message, not connected, error: -102",
                                         "IO -102 PHProtocolhandler connection closed, error: -102"}));
}

TEST(PHConnection, BoundsTheTimeOfAllReadsTogether) {
    SocketPair sockets;
    PHConnection connection(std::move(sockets.ours));
    char byte = 0;
    EXPECT_EQ(connection.limitReading(1ms), 0);
    EXPECT_EQ(connection.readAll(&byte, 1), EAGAIN);
    sockets.write("a");
    EXPECT_EQ(connection.readAll(&byte, 1), EAGAIN); // the peer that sent a byte gets no more time
    EXPECT_EQ(connection.limitReading(0ms), 0);
    EXPECT_EQ(connection.readAll(&byte, 1), 0);
}

TEST(PHProtocolHandler, KeepsANewerConnectionWhenAnOlderOneEnds) {
    SocketPair former, next;
    Recorder recorder;
    PHProtocolHandler handler(std::move(former.ours), false);
    handler.setDelegate(&recorder);
    std::thread reader(
        [&, connection = handler.connection()] { EXPECT_FALSE(handler.readMessage(connection)); });
    handler.setConnection(std::move(next.ours));
    reader.join();
    char byte = 0;
    EXPECT_EQ(::read(former.peer.get(), &byte, 1), 0);
    next.write("F7100002{}");
    EXPECT_TRUE(handler.readMessage());
    EXPECT_TRUE(recorder.reports.empty());
}

TEST(PHProtocolHandler, RemovesItsDelegateBetweenCalls) {
    SocketPair sockets;
    PHProtocolHandler handler(std::move(sockets.ours), false);
    std::atomic<bool> called = false, removing = false, finished = false;
    Recorder recorder;
    recorder.whenClosed = [&] {
        called = true;
        waitUntil([&] { return removing.load(); });
        for (int i = 0; i < 1000; ++i) {
            std::this_thread::yield(); // another thread tries to remove the delegate
        }
        // Neither waits for the call that it is in.
        handler.sendMessage(kMessage);
        handler.removeDelegate(recorder);
        finished = true;
    };
    handler.setDelegate(&recorder);
    sockets.peer.reset();
    std::thread reader([&] { EXPECT_FALSE(handler.readMessage()); });
    ASSERT_TRUE(waitUntil([&] { return called.load(); }));
    std::thread sender([&] { EXPECT_FALSE(handler.sendMessage(kMessage)); }); // waits for its turn
    removing = true;
    handler.removeDelegate(recorder);
    EXPECT_TRUE(finished);
    reader.join();
    sender.join();
}

TEST(PHMessage, KeepsFarNumbersFar) {
    const auto message = PHMessage::parse(R"({"f":2.9,"big":9223372036854775808,"far":-1e300})");
    EXPECT_EQ(integerIn(message, "f"), 2);
    EXPECT_EQ(integerIn(message, "big"), INT32_MAX);
    EXPECT_EQ(message.valueIn("big").asIdentifier(), 1ULL << 63);
    EXPECT_EQ(integerIn(message, "far"), INT32_MIN);
    for (const auto& [text, identifier] :
         {std::pair("1.0", std::optional(1)), {"1.5", {}}, {"-1.0", {}}, {"-1", {}}, {"1e300", {}}}) {
        EXPECT_EQ(PHMessage::parse(text).asIdentifier(), identifier) << text;
    }
}

} // namespace
} // namespace kvn::test
