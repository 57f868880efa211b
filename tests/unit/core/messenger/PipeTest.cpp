// SPDX-License-Identifier: MIT

#include "tests/support/Test.h"
#include "tests/unit/core/messenger/PipeFixture.h"

#include <list>

namespace kvn::test {
namespace {

using Kvs::FComMessengerPipe;

TEST_F(PipeTest, CarriesBytesBothWaysInPiecesOfAtMost4096) {
    Listening server(true);
    server.onData = [&] { server.send("!", server.raised().sender.c_str()); };
    Listening client(false);
    ASSERT_TRUE(server.start(L"Echo") && client.start(L"Echo"));
    std::string message(1'000'000, ' '); // more than sockets hold
    for (std::size_t i = 0; i < message.size(); ++i) {
        message[i] = static_cast<char>(i % 251);
    }
    long sent = 0;
    EXPECT_TRUE(waitUntil([&] {
        long written = 0;
        const auto* rest = reinterpret_cast<const unsigned char*>(message.data()) + sent;
        const auto result =
            client.pipe->send(nullptr, rest, static_cast<long>(message.size()) - sent, written);
        EXPECT_TRUE(result == Kvs::kSuccess || result == EAGAIN) << result;
        sent += written;
        return sent == static_cast<long>(message.size());
    }));
    ASSERT_TRUE(server.receives(message));
    const auto pieces = server.raised().pieces;
    EXPECT_THAT(pieces, testing::Each(testing::Le(4096U)));
    EXPECT_TRUE(client.receives(std::string(pieces.size(), '!')));
}

TEST_F(PipeTest, AClientHardlyWaitsForAServerThatNeitherReadsNorAccepts) {
    FComMessengerPipe server(true, false);
    Listening client(false);
    ASSERT_EQ(server.open(L"Mute"), Kvs::kSuccess);
    ASSERT_EQ(client.pipe->open(L"Mute"), Kvs::kSuccess);
    const auto started = std::chrono::steady_clock::now();
    Kvs::FResult result = Kvs::kSuccess;
    for (int i = 0; i < 10'000 && result == Kvs::kSuccess; ++i) {
        result = client.send(std::string(1000, ' '));
    }
    EXPECT_EQ(result, EAGAIN);
    std::list<FComMessengerPipe> unaccepted;
    for (result = Kvs::kSuccess; result == Kvs::kSuccess;) {
        result = unaccepted.emplace_back(false, false).open(L"Mute");
    }
    EXPECT_TRUE(result == EAGAIN || result == ECONNREFUSED) << result; // the latter on macOS
    EXPECT_LT(std::chrono::steady_clock::now() - started, 1s);
}

TEST_F(PipeTest, APauseKeepsTheReaderFromReadingUntilThePipeIsClosed) {
    Listening server(true), client(false);
    client.pause = 1h;
    ASSERT_TRUE(server.start(L"Pause") && client.start(L"Pause"));
    client.send("x");
    ASSERT_TRUE(server.receives("x"));
    server.send("a");
    ASSERT_TRUE(client.receives("a"));
    server.send("b");
    EXPECT_FALSE(waitUntil([&] { return client.raised().bytes != "a"; }, 30ms));
    client.pipe->close();
    EXPECT_EQ(client.raised().bytes, "a");
}

TEST_F(PipeTest, SendsToOnePeerOrToAll) {
    Listening server(true), first(false), second(false);
    ASSERT_TRUE(server.start(L"Many"));
    EXPECT_EQ(server.send("nobody"), Kvs::kSuccess);
    EXPECT_EQ(server.send("nobody", L"5"), Kvs::kFailure);

    ASSERT_TRUE(first.start(L"Many") && second.start(L"Many"));
    first.send("a");
    ASSERT_TRUE(server.receives("a"));
    const std::wstring firstPeer = server.raised().sender;
    second.send("b");
    ASSERT_TRUE(server.receives("ab"));
    ASSERT_NE(server.raised().sender, firstPeer);

    EXPECT_EQ(server.send("1", (firstPeer + L" and more").c_str()), Kvs::kSuccess);
    for (const wchar_t* nobody : {L"x", L"-1", L"65000", L"99999999999999999999"}) {
        EXPECT_EQ(server.send("?", nobody), Kvs::kFailure) << Kvs::fNarrow(Kvs::FGStr<wchar_t>(nobody));
    }
    EXPECT_EQ(server.send("*", L""), Kvs::kSuccess);
    EXPECT_TRUE(first.receives("1*") && second.receives("*"));

    long written = 0;
    EXPECT_EQ(first.pipe->send(nullptr, nullptr, -1, written), EINVAL);
}

TEST_F(PipeTest, MakesASocketFileForEveryoneAndCutsItsName) {
    const auto modeOf = [](const std::string& path) { return fs::status(path).permissions(); };
    const mode_t umask = ::umask(027);
    FComMessengerPipe server(true, false);
    ASSERT_EQ(server.open(L"Modes"), Kvs::kSuccess);
    const std::string base = root.file("var/tmp/com.korvane");
    EXPECT_EQ(modeOf(base), fs::perms(0777));
    EXPECT_EQ(modeOf(base + "/pipes"), fs::perms(0750));
    EXPECT_EQ(modeOf(base + "/pipes/Modes"), fs::perms(0777));

    // A link in the place of the folder is not followed.
    fs::create_directory(root.file("private"), root.path());
    fs::rename(base, root.file("moved"));
    fs::create_directory_symlink(root.file("private"), base);
    FComMessengerPipe::pipeFullPath(L"", true);
    EXPECT_EQ(modeOf(root.file("private")), fs::perms(0700));
    fs::remove(base);
    fs::rename(root.file("moved"), base);

    // Existing folders keep their mode; an old socket file is replaced.
    ::chmod(base.c_str(), 0711);
    writeFile(base + "/pipes/Stale", "");
    EXPECT_EQ(server.open(L"Stale"), Kvs::kSuccess);
    EXPECT_EQ(modeOf(base), fs::perms(0711));
    EXPECT_TRUE(fs::is_socket(base + "/pipes/Stale"));
    ::umask(umask);

    EXPECT_EQ(FComMessengerPipe::pipeFullPath(std::wstring(200, L'n').c_str(), false).size(), 103U);
    EXPECT_EQ(FComMessengerPipe::pipeFullPath(L"\x144\x1F", false).substr(root.path().size()),
              "/var/tmp/com.korvane/pipes/D\x1F");
}

TEST_F(PipeTest, ReportsWhyItCannotBeOpened) {
    const auto open = [](bool server, const wchar_t* name) {
        return FComMessengerPipe(server, false).open(name);
    };
    EXPECT_EQ(open(false, L"Nobody"), ENOENT);
    EXPECT_EQ(open(true, L"Gone"), Kvs::kSuccess);
    EXPECT_EQ(open(false, L"Gone"), ECONNREFUSED);
    EXPECT_EQ(open(true, nullptr), EADDRINUSE); // the directory itself
    fs::remove_all(root.file("var/tmp"));
    EXPECT_EQ(open(true, L"NoDirectory"), ENOENT);
    EXPECT_TRUE(logs({"FComMessengerPipe: connect error 2, " + std::string(std::strerror(ENOENT)) + "\n",
                      "FComMessengerPipe: bind error: ",
                      "Failed to create directory for Unix domain sockets, errno: 2, "}));
}

TEST_F(PipeTest, ReceivesOnceAtATimeAndNotAfterItsEnd) {
    Listening server(true), client(false);
    ASSERT_TRUE(server.start(L"Once") && client.start(L"Once"));
    for (Listening* end : {&client, &server}) {
        EXPECT_TRUE(end->pipe->isReceiving() && end->pipe->hasName(L"Once") && !end->pipe->hasName(L"Onc"));
        EXPECT_EQ(end->pipe->beginReceive(), Kvs::kInvalidState);
        EXPECT_EQ(end->pipe->close(), Kvs::kSuccess);
        EXPECT_TRUE(!end->pipe->isReceiving() && end->pipe->hasName(L"") && !end->pipe->hasName(L"Once"));
        EXPECT_EQ(end->pipe->beginReceive(), Kvs::kInvalidState);
        EXPECT_EQ(end->send("closed"), end == &client ? EBADF : Kvs::kSuccess);
    }
    EXPECT_TRUE(log.contains("FComMessengerPipe can't begin receiving, invalid state: "));
}

TEST_F(PipeTest, DropsAPeerThatDoesNotRead) {
    Listening server(true), client(false), stalled(false);
    ASSERT_TRUE(server.start(L"Stalled") && client.start(L"Stalled"));
    ASSERT_EQ(stalled.pipe->open(L"Stalled"), Kvs::kSuccess);
    stalled.send("x");
    ASSERT_TRUE(server.receives("x"));
    const std::wstring peer = server.raised().sender;
    timeval limit{};
    socklen_t size = sizeof limit;
    ASSERT_EQ(::getsockopt(std::stoi(peer), SOL_SOCKET, SO_SNDTIMEO, &limit, &size), 0);
    EXPECT_EQ(limit.tv_sec, 2);
    limit = {0, 50'000}; // spares the test the wait
    ASSERT_EQ(::setsockopt(std::stoi(peer), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit), 0);

    const std::string block(10'000'000, 'b'); // more than sockets hold: ends short
    EXPECT_EQ(server.send(block), Kvs::kSuccess);
    EXPECT_TRUE(client.receives(block)) << "the other peer stays";
    EXPECT_TRUE(logs({"FComMessengerPipe:: pipe: " + Kvs::fNarrow(Kvs::FGStr<wchar_t>(peer)) +
                      " does not read, dropping it\n"}));
    EXPECT_TRUE(waitUntil([&] { return server.send("?", peer.c_str()) == Kvs::kFailure; }));
    EXPECT_EQ(server.raised().errors, std::vector<int>());
}

} // namespace
} // namespace kvn::test
