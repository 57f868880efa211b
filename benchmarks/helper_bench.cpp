// SPDX-License-Identifier: MIT

// Measures a command to the privileged helper and its completion event, beside the same bytes between two
// bare threads that wake each other. "Ours" is what the agent does: it writes a frame, and an event thread
// reads the answer and posts it to the main loop. In both cases the helper is the same bare thread. To
// compare the work and not the scheduler's choices, run the program on one core: taskset -c 0 helper_bench.

#include "core/logging/CNSLog.h"
#include "core/system/FileDescriptor.h"
#include "core/system/WakePipe.h"
#include "host/posix/PollMainLoop.h"
#include "privileged-helper/client/PHEventThread.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <thread>

namespace {

using namespace std::string_view_literals;

constexpr int kRoundTrips = 200; // a batch, so that its start and its end do not count

constexpr auto kCommand = "F7100016{\"Cmd\":\"StartService\"}"sv;
constexpr auto kCompletion =
    "F710003C{\"Event\":\"CommandCompleted\",\"Cmd\":\"StartService\",\"status\":0}"sv;

void check(bool condition) {
    if (!condition) {
        std::abort();
    }
}

void write(const Kvs::FileDescriptor& socket, std::string_view bytes) {
    check(::write(socket.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
}

/// Returns false at the end of the connection.
bool read(const Kvs::FileDescriptor& socket, std::string_view expected) {
    std::array<char, 128> buffer;
    const ssize_t count = ::read(socket.get(), buffer.data(), expected.size());
    check(count <= 0 || std::string_view(buffer.data(), static_cast<std::size_t>(count)) == expected);
    return count > 0;
}

class Helper {
public:
    Helper() {
        int ends[2];
        check(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0);
        agentsEnd = Kvs::FileDescriptor(ends[0]);
        thread_ = std::thread([socket = Kvs::FileDescriptor(ends[1])] {
            while (read(socket, kCommand)) {
                write(socket, kCompletion);
            }
        });
    }
    ~Helper() {
        agentsEnd.reset();
        thread_.join();
    }

    Kvs::FileDescriptor agentsEnd;

private:
    std::thread thread_;
};

class Ours {
public:
    Ours() {
        Kvs::CNSInitLog(Kvs::kLogModeDebugOff, Kvs::kSysLogSuppressed, "helper_bench", nullptr);
        check(thread_->start());
    }
    ~Ours() { thread_->stop(); }

    void roundTrips() {
        left_ = kRoundTrips;
        sendCommand();
        loop_.run();
    }

private:
    void sendCommand() { check(handler_->sendMessage({{"Cmd", "StartService"}})); }

    /// Sends the next command when the previous one is completed, on the main thread.
    void completed(const kvn::PHMessage& event) {
        check(kvn::integerIn(event, "status") == 0);
        if (--left_ > 0) {
            sendCommand();
        } else {
            loop_.quit();
        }
    }

    Helper helper_;
    kvn::host::PollMainLoop loop_;
    int left_ = 0;
    const std::shared_ptr<kvn::PHProtocolHandler> handler_ =
        std::make_shared<kvn::PHProtocolHandler>(std::move(helper_.agentsEnd), false);
    const kvn::PHEventThread::Client client_ = {
        [this](const kvn::PHMessage& event) { completed(event); },
        [](const kvn::host::Error*) { std::abort(); },
    };
    const std::shared_ptr<kvn::PHEventThread> thread_ =
        std::make_shared<kvn::PHEventThread>(handler_, client_, loop_);
};

/// Measures the least time of an event thread and a main loop: one reads, and wakes the other.
class TwoThreads {
public:
    TwoThreads() {
        reader_ = std::thread([this] {
            while (read(helper_.agentsEnd, kCompletion)) {
                wakePipe_.wake();
            }
        });
    }
    ~TwoThreads() {
        ::shutdown(helper_.agentsEnd.get(), SHUT_RDWR);
        reader_.join();
    }

    void roundTrips() {
        for (int i = 0; i < kRoundTrips; ++i) {
            write(helper_.agentsEnd, kCommand);
            pollfd woken{wakePipe_.descriptor(), POLLIN, 0};
            check(::poll(&woken, 1, -1) == 1);
            wakePipe_.drain();
        }
    }

private:
    Helper helper_;
    Kvs::WakePipe wakePipe_;
    std::thread reader_;
};

template <class Contender>
void roundTrip(benchmark::State& state) {
    Contender contender;
    for ([[maybe_unused]] auto _ : state) {
        contender.roundTrips();
    }
    state.SetItemsProcessed(state.iterations() * kRoundTrips);
}

BENCHMARK(roundTrip<Ours>)->Name("helper_roundtrip/ours")->MeasureProcessCPUTime();
BENCHMARK(roundTrip<TwoThreads>)->Name("helper_roundtrip/two_threads")->MeasureProcessCPUTime();

} // namespace
