// SPDX-License-Identifier: MIT

#pragma once

#include "core/system/FSysInfoPaths.h"
#include "core/system/PosixDifferences.h"
#include "privileged-helper/shared/PHProtocolHandler.h"
#include "tests/support/Test.h"

#include <mutex>
#include <sys/un.h>

namespace kvn::test {

/// A privileged helper in the test's own process, which serves one connection after the other.
class FakeHelper {
public:
    using Answer = std::function<std::optional<PHMessage>(const PHMessage& message)>;

    /// `answer` runs on the helper's thread.
    FakeHelper(const std::string& bundleIdentifier, Answer answer)
        : path_(Kvs::FSysInfoPaths::underRoot("/var/run/" + bundleIdentifier + ".socket")),
          answer_(std::move(answer)) {
        fs::create_directories(fs::path(path_).parent_path());
        EXPECT_EQ(withAddress(::bind, listener_), 0);
        EXPECT_EQ(::listen(listener_.get(), 5), 0);
        thread_ = std::thread([this] { serve(); });
    }
    ~FakeHelper() {
        stopping_ = true;
        hangUp();
        const auto waker = Kvs::closeOnExecSocket(AF_UNIX, SOCK_STREAM);
        withAddress(::connect, waker);
        thread_.join();
        fs::remove(path_);
    }

    void push(const PHMessage& message) { EXPECT_TRUE(connection_.sendMessage(message)); }
    void hangUp() { connection_.closeConnection(); }

    /// Every message received so far, as text.
    std::vector<std::string> transcript() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return transcript_;
    }

private:
    template <class Call>
    int withAddress(Call call, const Kvs::FileDescriptor& socket) const {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path_.copy(address.sun_path, sizeof address.sun_path - 1);
        return call(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }

    void serve() {
        for (;;) {
            connection_.setConnection(Kvs::FileDescriptor(::accept(listener_.get(), nullptr, nullptr)));
            if (stopping_) {
                return;
            }
            while (const auto message = connection_.readMessage()) {
                std::unique_lock<std::mutex> guard(mutex_);
                transcript_.push_back(message->text());
                guard.unlock();
                if (const auto answer = answer_(*message)) {
                    connection_.sendMessage(*answer);
                }
            }
        }
    }

    const std::string path_;
    const Answer answer_;
    const Kvs::FileDescriptor listener_ = Kvs::closeOnExecSocket(AF_UNIX, SOCK_STREAM);
    PHProtocolHandler connection_{Kvs::FileDescriptor(), false};
    std::atomic<bool> stopping_ = false;
    mutable std::mutex mutex_;
    std::vector<std::string> transcript_;
    std::thread thread_;
};

} // namespace kvn::test
