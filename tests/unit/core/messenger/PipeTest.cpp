#include "tests/unit/core/messenger/PipeFixture.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kvn::test {
namespace {

using Kvs::FComMessengerPipe;

TEST_F(PipeTest, CarriesBytesBothWaysInPiecesOfAtMost4096) {
    Listening server(true);
    server.onData = [&] { server.send("!", server.lastSender().c_str()); };
    Listening client(false);
    ASSERT_TRUE(server.start(L"Echo"));
    ASSERT_TRUE(client.start(L"Echo"));

    std::string message(10'000, ' ');
    for (std::size_t i = 0; i < message.size(); ++i) {
        message[i] = static_cast<char>(i % 251);
    }
    EXPECT_EQ(client.send(message), Kvs::kSuccess);
    ASSERT_TRUE(waitUntil([&] { return server.bytes().size() == message.size(); }));
    EXPECT_EQ(server.bytes(), message);
    EXPECT_GE(server.pieces().size(), 3U);
    for (const std::size_t piece : server.pieces()) {
        EXPECT_LE(piece, 4096U);
    }
    EXPECT_TRUE(waitUntil([&] { return client.bytes() == std::string(server.pieces().size(), '!'); }));
}

TEST_F(PipeTest, SendsToOnePeerOrToAll) {
    Listening server(true);
    Listening first(false);
    Listening second(false);
    ASSERT_TRUE(server.start(L"Many"));
    EXPECT_EQ(server.send("nobody"), Kvs::kSuccess);
    EXPECT_EQ(server.send("nobody", L"5"), Kvs::kFailure);

    ASSERT_TRUE(first.start(L"Many") && second.start(L"Many"));
    first.send("a");
    ASSERT_TRUE(waitUntil([&] { return server.bytes() == "a"; }));
    const std::wstring firstPeer = server.lastSender();
    second.send("b");
    ASSERT_TRUE(waitUntil([&] { return server.bytes() == "ab"; }));
    ASSERT_NE(server.lastSender(), firstPeer);

    EXPECT_EQ(server.send("1", (firstPeer + L" and more").c_str()), Kvs::kSuccess);
    for (const wchar_t* nobody : {L"x", L"-1", L"65000", L"99999999999999999999"}) {
        EXPECT_EQ(server.send("?", nobody), Kvs::kFailure) << Kvs::fNarrow(Kvs::FGStr<wchar_t>(nobody));
    }
    EXPECT_EQ(server.send("*", L""), Kvs::kSuccess);
    EXPECT_TRUE(waitUntil([&] { return first.bytes() == "1*" && second.bytes() == "*"; }));

    long written = 0;
    EXPECT_EQ(first.pipe->send(nullptr, nullptr, -1, written), EINVAL);
}

mode_t modeOf(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 0777U : 0;
}

TEST_F(PipeTest, MakesTheSocketFileForEveryone) {
    const mode_t umask = ::umask(027);
    Listening server(true);
    ASSERT_EQ(server.pipe->open(L"Modes"), Kvs::kSuccess);
    const std::string base = root.file("var/tmp/com.korvane");
    EXPECT_EQ(modeOf(base), 0777U);
    EXPECT_EQ(modeOf(base + "/pipes"), 0750U);
    EXPECT_EQ(modeOf(base + "/pipes/Modes"), 0777U);

    // What is there already stays, but for a stale socket file.
    ::chmod(base.c_str(), 0711);
    writeFile(base + "/pipes/Stale", "");
    EXPECT_EQ(server.pipe->open(L"Stale"), Kvs::kSuccess);
    EXPECT_EQ(modeOf(base), 0711U);
    EXPECT_TRUE(std::filesystem::is_socket(base + "/pipes/Stale"));
    ::umask(umask);
}

TEST_F(PipeTest, CutsLongNames) {
    const std::wstring name(200, L'n');
    Listening server(true);
    Listening client(false);
    ASSERT_TRUE(server.start(name.c_str()));
    EXPECT_TRUE(client.start(name.substr(0, 150).c_str()));
    EXPECT_EQ(FComMessengerPipe::pipeFullPath(name.c_str(), false).size(), 103U);
    EXPECT_TRUE(client.pipe->hasName(name.substr(0, 150).c_str()));
    EXPECT_EQ(FComMessengerPipe::pipeFullPath(L"\x144\x1F", false).substr(root.path().size()),
              "/var/tmp/com.korvane/pipes/D\x1F");
}

TEST_F(PipeTest, TellsWhyItCannotBeOpened) {
    EXPECT_EQ(Listening(false).pipe->open(L"Nobody"), ENOENT);
    EXPECT_TRUE(log.contains("FComMessengerPipe: connect error 2, " + std::string(std::strerror(ENOENT))));
    EXPECT_EQ(Listening(true).pipe->open(L"Gone"), Kvs::kSuccess);
    EXPECT_EQ(Listening(false).pipe->open(L"Gone"), ECONNREFUSED);
    EXPECT_EQ(Listening(true).pipe->open(nullptr), EADDRINUSE); // the directory itself
    EXPECT_TRUE(log.contains("FComMessengerPipe: bind error: "));
    std::filesystem::remove_all(root.file("var/tmp"));
    EXPECT_EQ(Listening(true).pipe->open(L"NoDirectory"), ENOENT);
    EXPECT_TRUE(log.contains("Failed to create directory for Unix domain sockets, errno: 2, "));
}

TEST_F(PipeTest, DoesNotWaitForAServerThatAcceptsNobody) {
    Listening frozen(true);
    ASSERT_EQ(frozen.pipe->open(L"Frozen"), Kvs::kSuccess);
    std::vector<Kvs::FileDescriptor> waiting;
    int error = 0;
    while (error == 0 && waiting.size() < 1000) { // until the backlog is full
        waiting.push_back(rawSocket());
        ASSERT_EQ(::fcntl(waiting.back().get(), F_SETFL, O_NONBLOCK), 0);
        error = connectRaw(waiting.back(), L"Frozen") ? 0 : errno;
    }
    ASSERT_TRUE(error == EAGAIN || error == ECONNREFUSED) << error; // the system decides
    for (int i = 0; i < 3; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(Listening(false).pipe->open(L"Frozen"), error);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    }
}

TEST_F(PipeTest, AClientBlocksOnceItIsConnected) {
    Listening server(true);
    Listening client(false);
    ASSERT_TRUE(server.start(L"Slow") && client.pipe->open(L"Slow") == Kvs::kSuccess);
    // More than sockets hold, so that the sending has to wait for the server.
    const std::string message(5'000'000, 'm');
    EXPECT_EQ(client.send(message), Kvs::kSuccess);
    EXPECT_TRUE(waitUntil([&] { return server.bytes().size() == message.size(); }));
}

TEST_F(PipeTest, ReceivesOnceAtATime) {
    Listening server(true);
    Listening client(false);
    EXPECT_TRUE(server.pipe->hasName(nullptr));
    ASSERT_TRUE(server.start(L"Once") && client.start(L"Once"));
    for (Listening* end : {&client, &server}) {
        EXPECT_TRUE(end->pipe->isReceiving());
        EXPECT_EQ(end->pipe->beginReceive(), Kvs::kInvalidState);
        EXPECT_TRUE(end->pipe->hasName(L"Once"));
        EXPECT_FALSE(end->pipe->hasName(L"Onc"));
        EXPECT_EQ(end->pipe->close(), Kvs::kSuccess);
        EXPECT_FALSE(end->pipe->isReceiving());
        EXPECT_FALSE(end->pipe->hasName(L"Once"));
        EXPECT_TRUE(end->pipe->hasName(L""));
        EXPECT_EQ(end->send("closed"), end == &client ? EBADF : Kvs::kSuccess);
    }
    EXPECT_TRUE(log.contains("FComMessengerPipe can't begin receiving, invalid state: 1") ||
                log.contains("FComMessengerPipe can't begin receiving, invalid state: 0"));
    // Both have become idle and can start over.
    EXPECT_TRUE(server.start(L"Once") && client.start(L"Once"));

    Listening neverReceived(false);
    ASSERT_EQ(neverReceived.pipe->open(L"Once"), Kvs::kSuccess);
    neverReceived.pipe->close();
    EXPECT_FALSE(neverReceived.start(L"Once"));
    EXPECT_TRUE(log.contains("FComMessengerPipe can't begin receiving, invalid state: 2"));

    server.pipe->close();
    ASSERT_TRUE(waitUntil([&] { return !client.pipe->isReceiving(); })) << "its reader ends";
    client.pipe->close();
    ASSERT_TRUE(server.start(L"Once"));
    EXPECT_FALSE(client.start(L"Once"));
}

TEST_F(PipeTest, ReportsAPeerThatClosesOnce) {
    Listening server(true);
    auto client = std::make_unique<Listening>(false);
    ASSERT_TRUE(server.start(L"Closing") && client->start(L"Closing"));
    client->send("x");
    ASSERT_TRUE(waitUntil([&] { return server.bytes() == "x"; }));
    const std::wstring peer = server.lastSender();
    client.reset();
    ASSERT_TRUE(waitUntil([&] { return server.send("?", peer.c_str()) == Kvs::kFailure; }));
    EXPECT_EQ(server.errors(), std::vector{Kvs::kPeerClosedError});
    const std::string number = Kvs::fNarrow(Kvs::FGStr<wchar_t>(peer));
    EXPECT_TRUE(waitUntil([&] {
        return logged({"FComMessengerPipe:: connection accepted: " + number,
                       "pipe: " + number + " closed by peer,", "FComMessengerPipe closed: " + number,
                       "FComMessengerPipe:: Leaving read thread from pipe: " + number});
    }));
    EXPECT_TRUE(server.pipe->isReceiving());

    // Bytes that the peer has not read make no difference.
    Kvs::FileDescriptor raw = rawSocket();
    ASSERT_TRUE(connectRaw(raw, L"Closing"));
    EXPECT_EQ(::write(raw.get(), "y", 1), 1);
    ASSERT_TRUE(waitUntil([&] { return server.bytes() == "xy"; }));
    EXPECT_EQ(server.send("unread"), Kvs::kSuccess);
    raw.reset();
    EXPECT_TRUE(waitUntil([&] { return server.errors().size() == 2; }));
    EXPECT_EQ(server.errors().back(), Kvs::kPeerClosedError);
}

TEST_F(PipeTest, AClientOutlivesItsServerOnTheSameSocket) {
    auto server = std::make_unique<Listening>(true);
    Listening client(false);
    ASSERT_TRUE(server->start(L"Twice") && client.start(L"Twice"));
    client.send("x");
    ASSERT_TRUE(waitUntil([&] { return server->bytes() == "x"; }));
    server.reset();
    ASSERT_TRUE(waitUntil([&] { return !client.pipe->isReceiving(); }));
    EXPECT_EQ(client.send("?"), EPIPE);
    EXPECT_EQ(client.pipe->beginReceive(), Kvs::kSuccess);
    EXPECT_TRUE(waitUntil([&] { return client.errors() == std::vector(2, Kvs::kPeerClosedError); }));
}

/// Checks the server's limit for the peer and shortens it, to spare the tests the wait.
void limitSendingTo(const std::wstring& peer) {
    const int socket = std::stoi(peer);
    timeval limit{};
    socklen_t size = sizeof limit;
    ASSERT_EQ(::getsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, &size), 0);
    EXPECT_EQ(limit.tv_sec, 2);
    limit = {0, 50'000};
    ASSERT_EQ(::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit), 0);
}

TEST_F(PipeTest, GivesUpOnAPeerThatDoesNotRead) {
    Listening server(true);
    ASSERT_TRUE(server.start(L"Stalled"));
    const Kvs::FileDescriptor stalled = rawSocket();
    ASSERT_TRUE(connectRaw(stalled, L"Stalled"));
    EXPECT_EQ(::write(stalled.get(), "x", 1), 1);
    ASSERT_TRUE(waitUntil([&] { return server.bytes() == "x"; }));

    const std::string block(1000, ' ');
    const std::wstring peer = server.lastSender();
    limitSendingTo(peer);
    Kvs::FResult result = Kvs::kSuccess;
    for (int i = 0; i < 10'000 && result == Kvs::kSuccess; ++i) {
        result = server.send(block, peer.c_str());
    }
    EXPECT_EQ(result, EAGAIN);
    // What it missed could not be told from what comes next.
    const std::string number = Kvs::fNarrow(Kvs::FGStr<wchar_t>(peer));
    EXPECT_TRUE(waitUntil([&] { return logged({"FComMessengerPipe closed: " + number}); }));
    EXPECT_EQ(server.send("?", peer.c_str()), Kvs::kFailure);
    EXPECT_EQ(server.errors(), std::vector<int>());
}

TEST_F(PipeTest, DropsAPeerThatGetsPartOfABroadcast) {
    Listening server(true);
    Listening client(false);
    ASSERT_TRUE(server.start(L"Stalled") && client.start(L"Stalled"));
    const Kvs::FileDescriptor stalled = rawSocket();
    ASSERT_TRUE(connectRaw(stalled, L"Stalled"));
    EXPECT_EQ(::write(stalled.get(), "x", 1), 1);
    ASSERT_TRUE(waitUntil([&] { return server.bytes() == "x"; }));
    limitSendingTo(server.lastSender());

    const std::vector<unsigned char> block(10'000'000, 'b'); // more than sockets hold
    long written = 0;
    EXPECT_EQ(server.pipe->send(nullptr, block.data(), static_cast<long>(block.size()), written),
              Kvs::kSuccess);
    const std::string number = Kvs::fNarrow(Kvs::FGStr<wchar_t>(server.lastSender()));
    EXPECT_TRUE(waitUntil([&] { return logged({"FComMessengerPipe closed: " + number}); }));
    EXPECT_TRUE(waitUntil([&] { return client.bytes().size() == block.size(); })) << "the other stays";
}

/// Leaves the process no descriptor number beyond those in use.
class NoMoreDescriptors {
public:
    NoMoreDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &previous_);
        const Kvs::FileDescriptor next(::dup(0));
        rlimit limit = previous_;
        limit.rlim_cur = static_cast<rlim_t>(next.get());
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~NoMoreDescriptors() { ::setrlimit(RLIMIT_NOFILE, &previous_); }

private:
    rlimit previous_{};
};

TEST_F(PipeTest, StopsAcceptingAfterSixFailuresInARow) {
    Listening server(true);
    ASSERT_TRUE(server.start(L"Full"));
    const Kvs::FileDescriptor raw = rawSocket();
    {
        const NoMoreDescriptors limit;
        ASSERT_TRUE(connectRaw(raw, L"Full"));
        ASSERT_TRUE(waitUntil([&] { return !server.pipe->isReceiving(); }));
        EXPECT_EQ(Listening(true).pipe->open(L"Other"), EMFILE);
    }
    EXPECT_EQ(server.errors(), std::vector(6, EMFILE));
    EXPECT_TRUE(waitUntil([&] {
        return logged({"FComMessengerPipe:: accept error: 24, ",
                       "FComMessengerPipe:: too many accept failures, giving up on pipe: ",
                       "FComMessengerPipe:: terminating accept thread of pipe: "});
    }));
    EXPECT_TRUE(log.contains("FComMessengerPipe: failed to create Unix domain socket, errno: 24, "));

    // The peer still waits, and is taken when there is room again.
    EXPECT_EQ(::write(raw.get(), "late", 4), 4);
    ASSERT_EQ(server.pipe->beginReceive(), Kvs::kSuccess);
    EXPECT_TRUE(waitUntil([&] { return server.bytes() == "late"; }));
}

} // namespace
} // namespace kvn::test
