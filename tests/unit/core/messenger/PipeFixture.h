#pragma once

#include "core/messenger/FComMessengerPipe.h"
#include "core/system/FSysInfoPaths.h"
#include "core/system/FileDescriptor.h"
#include "core/text/FGStr.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaitUntil.h"

#include <atomic>
#include <cctype>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <vector>

namespace kvn::test {

/// A pipe and what it raised. `onData` and `onError`, set before receiving, run in the handlers.
class Listening {
    template <class Get>
    auto locked(Get get) const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return get();
    }

public:
    explicit Listening(bool server)
        : pipe(std::make_unique<Kvs::FComMessengerPipe>(server, false)), server_(server) {
        pipe->DataReceived.add(this, &Listening::take);
        pipe->ReadError.add(this, &Listening::fail);
    }

    bool start(const wchar_t* name) {
        return pipe->open(name) == Kvs::kSuccess && pipe->beginReceive() == Kvs::kSuccess;
    }

    Kvs::FResult send(const std::string& text, const wchar_t* target = nullptr) {
        long written = 0;
        const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
        const Kvs::FResult result = pipe->send(target, bytes, static_cast<long>(text.size()), written);
        const bool reachesNobody = server_ && !(target && *target) && written == 0;
        if (result == Kvs::kSuccess && !reachesNobody) {
            EXPECT_EQ(written, static_cast<long>(text.size()));
        }
        return result;
    }

    /// Waits for handlers in progress, which use this object.
    ~Listening() { pipe.reset(); }
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;

    std::string bytes() const {
        return locked([&] { return bytes_; });
    }
    std::vector<std::size_t> pieces() const {
        return locked([&] { return pieces_; });
    }
    std::vector<int> errors() const {
        return locked([&] { return errors_; });
    }
    std::wstring lastSender() const {
        return locked([&] { return sender_; });
    }

    std::unique_ptr<Kvs::FComMessengerPipe> pipe;
    std::function<void()> onData = [] {};
    std::function<void()> onError = [] {};

private:
    void take(Kvs::FComMessenger*, Kvs::FComMessenger::DataReceivedArg& arg) {
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            bytes_.append(arg.data.begin(), arg.data.end());
            pieces_.push_back(arg.data.size());
            sender_ = arg.sender.str();
        }
        onData();
    }

    void fail(Kvs::FComMessenger*, int& error) {
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            errors_.push_back(error);
        }
        onError();
    }

    const bool server_;
    mutable std::mutex mutex_;
    std::string bytes_;
    std::vector<std::size_t> pieces_;
    std::vector<int> errors_;
    std::wstring sender_;
};

/// A client that is no messenger, for peers that misbehave.
inline Kvs::FileDescriptor rawSocket() { return Kvs::FileDescriptor(::socket(AF_UNIX, SOCK_STREAM, 0)); }

inline bool connectRaw(const Kvs::FileDescriptor& socket, const wchar_t* name) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = Kvs::FComMessengerPipe::pipeFullPath(name, false);
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

/// Pipes in a folder of their own.
class PipeTest : public ::testing::Test {
protected:
    PipeTest() {
        std::signal(SIGPIPE, SIG_IGN);
        std::filesystem::create_directories(root.file("var/tmp"));
        Kvs::FSysInfoPaths::setRoot(root.path());
    }
    ~PipeTest() override { Kvs::FSysInfoPaths::setRoot(""); }

    /// Whether lines that begin so are in the log in this order; a text that ends with a digit is a whole
    /// line.
    bool logged(const std::vector<std::string>& texts) const {
        auto text = texts.begin();
        for (const std::string& line : log.lines()) {
            if (text != texts.end() && line.starts_with(*text) &&
                (line == *text || !std::isdigit(static_cast<unsigned char>(text->back())))) {
                ++text;
            }
        }
        return text == texts.end();
    }

    TemporaryFolder root;
    CapturedLog log;
};

} // namespace kvn::test
