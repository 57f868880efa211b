// SPDX-License-Identifier: MIT

#pragma once

#include "core/messenger/FComMessengerPipe.h"
#include "core/system/FSysInfoPaths.h"
#include "core/text/FGStr.h"
#include "tests/support/ProcessFacts.h"
#include "tests/support/Test.h"

namespace kvn::test {

/// A pipe and what it raised. `onData` and `onError`, set before receiving, run in the handlers. After each
/// piece of data it pauses for the time that is set before receiving.
class Listening {
public:
    struct Raised {
        std::string bytes;
        std::vector<std::size_t> pieces;
        std::vector<int> errors;
        std::wstring sender; ///< the last one
    };

    explicit Listening(bool server) : pipe(std::make_unique<Kvs::FComMessengerPipe>(server, false)) {
        pipe->DataReceived.add(this, &Listening::take);
        pipe->ReadError.add(this, &Listening::fail);
    }
    /// Waits for running handlers, which use this object.
    ~Listening() { pipe.reset(); }

    bool start(const wchar_t* name) {
        return pipe->open(name) == Kvs::kSuccess && pipe->beginReceive() == Kvs::kSuccess;
    }

    /// kSuccess also when only part of the text was taken.
    Kvs::FResult send(const std::string& text, const wchar_t* target = nullptr) {
        long written = 0;
        const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
        return pipe->send(target, bytes, static_cast<long>(text.size()), written);
    }

    Raised raised() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return raised_;
    }
    bool receives(const std::string& bytes) const {
        return waitUntil([&] { return raised().bytes == bytes; });
    }

    std::unique_ptr<Kvs::FComMessengerPipe> pipe;
    std::function<void()> onData = [] {};
    std::function<void()> onError = [] {};
    std::chrono::milliseconds pause{0};

private:
    void take(Kvs::FComMessenger*, Kvs::FComMessenger::DataReceivedArg& arg) {
        std::unique_lock<std::mutex> guard(mutex_);
        raised_.bytes.append(arg.data.begin(), arg.data.end());
        raised_.pieces.push_back(arg.data.size());
        raised_.sender = arg.sender.str();
        arg.pause = pause;
        guard.unlock();
        onData();
    }

    void fail(Kvs::FComMessenger*, int& error) {
        std::unique_lock<std::mutex> guard(mutex_);
        raised_.errors.push_back(error);
        guard.unlock();
        onError();
    }

    mutable std::mutex mutex_;
    Raised raised_;
};

/// Pipes in a folder of their own. Each test must close every descriptor that it opens.
class PipeTest : public ::testing::Test {
protected:
    PipeTest() {
        std::signal(SIGPIPE, SIG_IGN);
        fs::create_directories(root.file("var/tmp"));
        Kvs::FSysInfoPaths::setRoot(root.path());
    }
    ~PipeTest() override {
        Kvs::FSysInfoPaths::setRoot("");
        EXPECT_TRUE(waitUntil([this] { return openDescriptors() == before_; })) << "a descriptor is left";
    }

    /// Waits for lines that begin with these texts, in this order. A text that ends with \n is a whole line.
    bool logs(const std::vector<std::string>& texts) const {
        return waitUntil([&] {
            auto text = texts.begin();
            for (const std::string& line : log.lines()) {
                if (text != texts.end() && (line + "\n").starts_with(*text)) {
                    ++text;
                }
            }
            return text == texts.end();
        });
    }

    TemporaryFolder root;
    CapturedLog log;

private:
    const std::ptrdiff_t before_ = openDescriptors();
};

} // namespace kvn::test
