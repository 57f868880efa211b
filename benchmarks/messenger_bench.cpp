// SPDX-License-Identifier: MIT

// Measures the messenger pipe beside bare blocking reads and writes on a socket, and beside libzmq. Every
// contender has two threads, one at each end; to compare their work and not the scheduler's choices,
// run the program on one core: taskset -c 0 messenger_bench.

#include "core/logging/CNSLog.h"
#include "core/messenger/FComMessengerPipe.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/FileDescriptor.h"
#include "tests/support/TemporaryFolder.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cerrno>
#include <condition_variable>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <zmq.h>

namespace {

constexpr std::size_t kMessage = 60;
constexpr std::size_t kChunk = 4096;
constexpr int kRoundTrips = 200; // a batch, so that its start and its end do not count
constexpr int kChunks = 256;

void check(bool condition) {
    if (!condition) {
        std::abort();
    }
}

/// Notifies the measuring thread that a batch is complete.
class Gate {
public:
    void open() {
        const std::lock_guard<std::mutex> guard(mutex_);
        open_ = true;
        opened_.notify_one();
    }
    void pass() {
        std::unique_lock<std::mutex> lock(mutex_);
        opened_.wait(lock, [&] { return open_; });
        open_ = false;
    }

private:
    std::mutex mutex_;
    std::condition_variable opened_;
    bool open_ = false;
};

/// The reactions of both ends to the bytes that arrive, the same for every contender.
class Traffic {
public:
    /// Counts an answer. Returns true if the next question is to be sent.
    bool answered() {
        if (--left_ > 0) {
            return true;
        }
        gate_.open();
        return false;
    }
    void arrived(std::size_t count) {
        if ((bytesLeft_ -= count) == 0) {
            gate_.open();
        }
    }
    void expectAnswers() { left_ = kRoundTrips; }
    void expectChunks() { bytesLeft_ = kChunks * kChunk; }
    void waitForAll() { gate_.pass(); }

private:
    int left_ = 0;
    std::size_t bytesLeft_ = 0;
    Gate gate_;
};

const unsigned char payload[kChunk] = {};

/// Two pipes in a folder of their own.
class Ours {
public:
    explicit Ours(bool echo) : echo_(echo) {
        Kvs::CNSInitLog(Kvs::kLogModeDebugOff, Kvs::kSysLogSuppressed, "messenger_bench", nullptr);
        std::filesystem::create_directories(root_.file("var/tmp"));
        Kvs::FSysInfoPaths::setRoot(root_.path());
        server_ = std::make_unique<Kvs::FComMessengerPipe>(true, false);
        client_ = std::make_unique<Kvs::FComMessengerPipe>(false, false);
        server_->DataReceived.add(this, &Ours::received);
        client_->DataReceived.add(this, &Ours::answered);
        check(server_->open(L"Bench") == 0 && server_->beginReceive() == 0);
        check(client_->open(L"Bench") == 0 && client_->beginReceive() == 0);
    }
    ~Ours() {
        client_.reset();
        server_.reset();
    }
    Ours(const Ours&) = delete;
    Ours& operator=(const Ours&) = delete;

    void send(std::size_t length) { send(*client_, nullptr, length); }
    Traffic traffic;

private:
    static void send(Kvs::FComMessenger& pipe, const wchar_t* target, std::size_t length) {
        for (long sent = 0, all = static_cast<long>(length); sent < all;) {
            long written = 0;
            const Kvs::FResult result = pipe.send(target, payload + sent, all - sent, written);
            check(result == 0 || result == EAGAIN); // a client end waits only for a short time
            sent += written;
        }
    }
    void received(Kvs::FComMessenger* pipe, Kvs::FComMessenger::DataReceivedArg& arg) {
        if (echo_) {
            send(*pipe, arg.sender.c_str(), arg.data.size());
        } else {
            traffic.arrived(arg.data.size());
        }
    }
    void answered(Kvs::FComMessenger* pipe, Kvs::FComMessenger::DataReceivedArg&) {
        if (traffic.answered()) {
            send(*pipe, nullptr, kMessage);
        }
    }

    const bool echo_;
    kvn::test::TemporaryFolder root_;
    std::unique_ptr<Kvs::FComMessengerPipe> server_;
    std::unique_ptr<Kvs::FComMessengerPipe> client_;
};

/// Measures the least that a program can do: one thread at each end reads, and writes on demand.
class Raw {
public:
    explicit Raw(bool echo) {
        int ends[2];
        check(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0);
        server_ = Kvs::FileDescriptor(ends[0]);
        client_ = Kvs::FileDescriptor(ends[1]);
        serverThread_ = std::thread([this, echo] {
            read(server_, [&](std::size_t count) {
                if (echo) {
                    write(server_, count);
                } else {
                    traffic.arrived(count);
                }
            });
        });
        clientThread_ = std::thread([this] {
            read(client_, [&](std::size_t) {
                if (traffic.answered()) {
                    write(client_, kMessage);
                }
            });
        });
    }
    ~Raw() {
        ::shutdown(client_.get(), SHUT_RDWR);
        serverThread_.join();
        clientThread_.join();
    }
    Raw(const Raw&) = delete;
    Raw& operator=(const Raw&) = delete;

    void send(std::size_t length) { write(client_, length); }
    Traffic traffic;

private:
    template <class Take>
    static void read(const Kvs::FileDescriptor& socket, Take take) {
        unsigned char buffer[4096];
        for (;;) {
            const ssize_t count = ::read(socket.get(), buffer, sizeof buffer);
            if (count <= 0) {
                return;
            }
            take(static_cast<std::size_t>(count));
        }
    }
    static void write(const Kvs::FileDescriptor& socket, std::size_t length) {
        check(::write(socket.get(), payload, length) == static_cast<ssize_t>(length));
    }

    Kvs::FileDescriptor server_;
    Kvs::FileDescriptor client_;
    std::thread serverThread_;
    std::thread clientThread_;
};

/// A pair of libzmq sockets, each used by one thread; the measuring thread itself is one of them. As in
/// the two programs that such a transport connects, each end has a context of its own.
class Zmq {
public:
    explicit Zmq(bool echo) : serverContext_(zmq_ctx_new()), clientContext_(zmq_ctx_new()) {
        const std::string address = "ipc://" + folder_.file("zmq");
        void* server = zmq_socket(serverContext_, ZMQ_PAIR);
        check(zmq_bind(server, address.c_str()) == 0);
        client_ = zmq_socket(clientContext_, ZMQ_PAIR);
        check(zmq_connect(client_, address.c_str()) == 0);
        serverThread_ = std::thread([this, echo, server] {
            std::array<char, kChunk> buffer{};
            for (;;) {
                const int count = zmq_recv(server, buffer.data(), buffer.size(), 0);
                if (count < 0) {
                    break;
                }
                if (echo) {
                    zmq_send(server, payload, static_cast<std::size_t>(count), 0);
                } else {
                    traffic.arrived(static_cast<std::size_t>(count));
                }
            }
            zmq_close(server);
        });
    }
    ~Zmq() {
        const int linger = 0;
        zmq_setsockopt(client_, ZMQ_LINGER, &linger, sizeof linger);
        zmq_close(client_);
        zmq_ctx_term(clientContext_);
        zmq_ctx_shutdown(serverContext_);
        serverThread_.join();
        zmq_ctx_term(serverContext_);
    }
    Zmq(const Zmq&) = delete;
    Zmq& operator=(const Zmq&) = delete;

    void send(std::size_t length) {
        check(zmq_send(client_, payload, length, 0) == static_cast<int>(length));
    }
    void roundTrips() {
        std::array<char, kMessage> buffer{};
        for (int i = 0; i < kRoundTrips; ++i) {
            send(kMessage);
            check(zmq_recv(client_, buffer.data(), buffer.size(), 0) == static_cast<int>(kMessage));
        }
    }
    Traffic traffic;

private:
    kvn::test::TemporaryFolder folder_;
    void* serverContext_;
    void* clientContext_;
    void* client_;
    std::thread serverThread_;
};

template <class Contender>
void roundTrip(benchmark::State& state) {
    Contender contender(true);
    for ([[maybe_unused]] auto _ : state) {
        if constexpr (requires { contender.roundTrips(); }) {
            contender.roundTrips();
        } else {
            contender.traffic.expectAnswers();
            contender.send(kMessage);
            contender.traffic.waitForAll();
        }
    }
    state.SetItemsProcessed(state.iterations() * kRoundTrips);
}

template <class Contender>
void chunks(benchmark::State& state) {
    Contender contender(false);
    for ([[maybe_unused]] auto _ : state) {
        contender.traffic.expectChunks();
        for (int i = 0; i < kChunks; ++i) {
            contender.send(kChunk);
        }
        contender.traffic.waitForAll();
    }
    state.SetItemsProcessed(state.iterations() * kChunks);
    state.SetBytesProcessed(state.iterations() * kChunks * static_cast<std::int64_t>(kChunk));
}

BENCHMARK(roundTrip<Ours>)->Name("messenger_roundtrip/ours")->UseRealTime();
BENCHMARK(roundTrip<Raw>)->Name("messenger_roundtrip/raw")->UseRealTime();
BENCHMARK(roundTrip<Zmq>)->Name("messenger_roundtrip/zmq")->UseRealTime();
BENCHMARK(chunks<Ours>)->Name("messenger_chunks/ours")->UseRealTime();
BENCHMARK(chunks<Raw>)->Name("messenger_chunks/raw")->UseRealTime();
BENCHMARK(chunks<Zmq>)->Name("messenger_chunks/zmq")->UseRealTime();

} // namespace
