// SPDX-License-Identifier: MIT

#pragma once

#include "core/messenger/FComMessengerPipe.h"
#include "remote/FRSCtrl.h"
#include "tests/support/Test.h"

#include <mutex>

namespace kvn::test {

/// The service's end of a pipe in the test's process: records what agents send, and sends the test's answers.
/// Agents send each message with one write, but two messages may arrive in one delivery.
class FakeService {
public:
    using Answer = std::function<std::string(const std::string& message)>;

    /// `answer` runs on a reader thread; an empty text is no answer.
    explicit FakeService(Answer answer = {}) : answer_(std::move(answer)), pipe_(true, false) {
        pipe_.DataReceived.add(this, &FakeService::received);
        EXPECT_EQ(pipe_.open(Kvs::FRSCtrl::Pipe_RemoteClient), Kvs::kSuccess);
        EXPECT_EQ(pipe_.beginReceive(), Kvs::kSuccess);
    }
    ~FakeService() { pipe_.close(); }
    FakeService(const FakeService&) = delete;
    FakeService& operator=(const FakeService&) = delete;

    /// Sends to all agents.
    void push(const std::string& text) { send(nullptr, text); }

    /// Everything received so far, in order.
    std::string transcript() const {
        const std::lock_guard<std::mutex> guard(mutex_);
        return transcript_;
    }

    /// Returns how often the text was received.
    std::size_t count(const std::string& text) const { return Kvs::FGStr<char>(transcript()).count(text); }

private:
    void send(const wchar_t* receiver, const std::string& text) {
        long written = 0;
        pipe_.send(receiver, reinterpret_cast<const unsigned char*>(text.data()),
                   static_cast<long>(text.size()), written);
    }
    void received(Kvs::FComMessenger*, Kvs::FComMessenger::DataReceivedArg& arg) {
        const std::string message(arg.data.begin(), arg.data.end());
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            transcript_ += message;
        }
        if (const std::string answer = answer_ ? answer_(message) : ""; !answer.empty()) {
            send(arg.sender.c_str(), answer);
        }
    }

    Answer answer_;
    Kvs::FComMessengerPipe pipe_;
    mutable std::mutex mutex_;
    std::string transcript_;
};

/// Returns the request identifier of the last element in the message.
inline std::string requestIdIn(const std::string& message) {
    static const std::string kName = "RequestData=\"";
    const auto at = message.rfind(kName);
    return at == message.npos ? "0" : std::to_string(std::stoul(message.substr(at + kName.size())));
}

/// A service that confirms registrations and is online.
inline std::string answerAsOnlineService(const std::string& message) {
    std::string answers;
    if (message.find("<RegisterAgent") != std::string::npos) {
        const auto end = message.find("</RegisterAgent>");
        answers +=
            "<RequestResult RequestData=\"" + requestIdIn(message.substr(0, end)) + "\" StatusCode=\"0\"/>";
    }
    if (message.find("<GetStatus") != std::string::npos) {
        answers += "<Status Value=\"online\" RequestData=\"" + requestIdIn(message) +
                   "\" Server=\"relay01\" RemoteRegistrationName=\"Office\"/>";
    }
    return answers;
}

} // namespace kvn::test
