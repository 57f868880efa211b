// SPDX-License-Identifier: MIT

// Measures what the client of the service does with every message, with the program's own functions: the
// bytes of a delivery become the application's record, the values of a request become the bytes that are
// written, and a whole poll goes from its timer through the service's answer to the completion. The peers do
// the same work with pugixml and fmt, at their best setting and with a new document and buffer for each
// message, as the inputs arrive. To compare the work of a poll and not the scheduler's choices, run the
// program on one core: taskset -c 0 client_bench.

#include "benchmarks/Messages.h"
#include "core/messenger/FComMessengerPipe.h"
#include "core/system/FileDescriptor.h"
#include "core/system/LocalAddress.h"
#include "host/posix/PollMainLoop.h"
#include "remote/FRSCtrl.h"
#include "remote/ServiceMessages.h"
#include "remote/platform/OFRRecords.h"
#include "remote/xml/FEncXml.h"
#include "tests/support/AgentEnvironment.h"

#include <benchmark/benchmark.h>
#include <fmt/compile.h>
#include <fmt/format.h>
#include <pugixml.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <tuple>
#include <unistd.h>
#include <vector>

namespace {

using kvn::OFRProxyInfo;
using kvn::OFRServiceInfo;
using kvn::bench::Generator;
using kvn::bench::kMessages;
using namespace std::string_view_literals;

constexpr std::uint64_t kSession = 100008;
constexpr int kPolls = 200; // a batch, so that its start and its end do not count

void check(bool condition) {
    if (!condition) {
        std::abort();
    }
}

// MARK: A delivery becomes a record

/// Returns what the service answers to a poll, with a proxy or two.
std::string status(Generator& make) {
    std::string text = kvn::bench::element(
        "Status",
        {{"Value", make.number(0, 3) ? "online" : "paused"},
         {"RequestData", make.digits(100000)},
         {"Server", make.text(5, 30)},
         {"Version", make.text(5, 10)},
         {"LastError", make.number(0, 3) ? "" : make.text(10, 60)},
         {"RemoteRegistrationName", make.text(5, 40)},
         {"SubProcessSessions", make.number(0, 1) ? "1,100008|" + make.text(3, 10) + "|console" : ""}},
        ">");
    for (std::size_t proxies = make.number(0, 2); proxies > 0; --proxies) {
        text += kvn::bench::proxy(make);
    }
    return text + "</Status>";
}

const std::vector<std::string>& deliveries() {
    static const std::vector<std::string> all = [] {
        Generator make;
        std::vector<std::string> made(kMessages);
        for (std::string& text : made) {
            text = status(make);
        }
        return made;
    }();
    return all;
}

/// Does what the client and the connector's delegate do with a status message, and calls `take` with the
/// record.
template <class Take>
void oursRecord(std::string_view delivery, Take take) {
    Kvs::fReadDelivery(delivery, [&](const Kvs::FEncXmlNode<char>& message, std::size_t) {
        if (message.name() == Kvs::FRSCtrl::Tag_Status) {
            take(kvn::ObjcDTOFactory::convertFRServiceInfo(Kvs::fReadServiceInfo(message, kSession)));
        }
    });
}

void readSessions(std::string_view sessions, OFRServiceInfo& info) {
    while (!sessions.empty()) {
        std::string_view item = sessions.substr(0, sessions.find(','));
        sessions.remove_prefix(std::min(item.size() + 1, sessions.size()));
        std::uint64_t session = 0;
        const char* const end = item.data() + item.size();
        const auto [rest, error] = std::from_chars(item.data(), end, session);
        if (error != std::errc() || session != kSession) {
            continue;
        }
        info.subProcessRunning = true;
        const auto user = item.find('|');
        if (user != item.npos) {
            item.remove_prefix(user + 1);
            info.subProcessUser = item.substr(0, item.find('|'));
        }
        return;
    }
}

/// The record needs decoded values, so that `parse_escapes` is added to the least that pugixml can do.
template <class Take>
void pugixmlRecord(std::string_view delivery, Take take) {
    pugi::xml_document document;
    document.load_buffer(delivery.data(), delivery.size(), pugi::parse_minimal | pugi::parse_escapes);
    const pugi::xml_node message = document.document_element();
    if (message.name() != "Status"sv) {
        return;
    }
    OFRServiceInfo info;
    info.requestID = message.attribute("RequestData").as_uint();
    const std::string_view value = message.attribute("Value").value();
    info.status = value == "online"   ? kvn::ServiceState::Online
                  : value == "paused" ? kvn::ServiceState::Paused
                                      : kvn::ServiceState::Offline;
    info.server = message.attribute("Server").value();
    info.registration = message.attribute("RemoteRegistrationName").value();
    info.lastError = message.attribute("LastError").value();
    info.version = message.attribute("Version").value();
    for (const pugi::xml_node& proxy : message.children("Proxy")) {
        OFRProxyInfo& made = info.proxyInfos.emplace_back();
        made.name = proxy.attribute("Name").value();
        made.server = proxy.attribute("Server").value();
        made.time = proxy.attribute("Time").value();
        made.priority = proxy.attribute("Priority").value();
        const pugi::xml_attribute active = proxy.attribute("Value");
        made.active = active.value() == "online"sv || active.as_int() != 0;
    }
    readSessions(message.attribute("SubProcessSessions").value(), info);
    take(info);
}

auto fieldsOf(const OFRServiceInfo& info) {
    std::string proxies;
    for (const OFRProxyInfo& proxy : info.proxyInfos) {
        proxies += fmt::format("{}|{}|{}|{}|{};", proxy.name, proxy.server, proxy.time, proxy.priority,
                               proxy.active);
    }
    return std::tuple(info.requestID, info.status, info.server, info.registration, info.lastError,
                      info.version, info.subProcessRunning, info.subProcessUser, proxies);
}

// MARK: Values become a request

struct Registration {
    std::uint64_t session;
    std::string user;
    int process;
    Kvs::RequestId request;
};

const std::vector<Registration>& registrations() {
    static const std::vector<Registration> all = [] {
        Generator make;
        std::vector<Registration> made;
        for (std::size_t i = 0; i < kMessages; ++i) {
            made.push_back({make.number(0, 1000000), make.text(3, 20),
                            static_cast<int>(make.number(1, 100000)),
                            static_cast<Kvs::RequestId>(make.number(1, 100000))});
        }
        return made;
    }();
    return all;
}

/// Calls `take` with the bytes of the message, as the client passes them to the pipe.
template <class Take>
void oursRegistration(const Registration& values, Take take) {
    const std::string session = std::to_string(values.session);
    const std::string process = std::to_string(values.process);
    const std::string request = std::to_string(values.request);
    Kvs::FMStr<char> message;
    Kvs::FEncXml<char>::addElement(
        message, "RegisterAgent",
        {{"SessionID", session}, {"UserID", values.user}, {"ProcessID", process}, {"RequestData", request}});
    take(message.token());
}

template <class Take>
void oursStatusRequest(const Registration& values, Take take) {
    Kvs::FMStr<char> message;
    const std::string request = std::to_string(values.request);
    Kvs::FEncXml<char>::addTag(message, "GetStatus", "RequestData", request);
    take(message.token());
}

std::string escaped(std::string_view text) {
    std::string copy;
    for (const char c : text) {
        const auto special = "\"&<>"sv.find(c);
        if (special == std::string_view::npos) {
            copy += c;
        } else {
            constexpr std::array kEscapes = {"&#34;", "&amp;", "&#60;", "&#62;"};
            copy += kEscapes[special];
        }
    }
    return copy;
}

template <class Take>
void fmtRegistration(const Registration& values, Take take) {
    fmt::memory_buffer out;
    const auto add = [&](std::string_view user) {
        fmt::format_to(
            std::back_inserter(out),
            FMT_COMPILE(
                R"(<RegisterAgent SessionID="{}" UserID="{}" ProcessID="{}" RequestData="{}"></RegisterAgent>)"),
            values.session, user, values.process, values.request);
    };
    if (std::strpbrk(values.user.c_str(), "\"&<>")) {
        add(escaped(values.user));
    } else {
        add(values.user);
    }
    take(std::string_view(out.data(), out.size()));
}

template <class Take>
void fmtStatusRequest(const Registration& values, Take take) {
    fmt::memory_buffer out;
    fmt::format_to(std::back_inserter(out), FMT_COMPILE(R"(<GetStatus RequestData="{}" />)"), values.request);
    take(std::string_view(out.data(), out.size()));
}

// MARK: A whole poll

/// The service's end: a bare thread that answers each request with a status of 300 bytes.
class Service {
public:
    explicit Service(Kvs::FileDescriptor listener)
        : listener_(std::move(listener)), thread_([this] { serve(); }) {}
    ~Service() { thread_.join(); }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

private:
    void serve() {
        const Kvs::FileDescriptor peer(::accept(listener_.get(), nullptr, nullptr));
        std::array<char, 4096> request;
        for (;;) {
            const ssize_t count = ::read(peer.get(), request.data(), request.size());
            if (count <= 0) {
                return;
            }
            const std::string_view text(request.data(), static_cast<std::size_t>(count));
            const auto begin = text.find('"') + 1;
            const std::string_view id = text.substr(begin, text.find('"', begin) - begin);
            fmt::memory_buffer out;
            fmt::format_to(
                std::back_inserter(out),
                FMT_COMPILE(
                    R"(<Status Value="online" RequestData="{}" Server="remote.example.org" Version="3.0.1")"
                    R"( LastError="" RemoteRegistrationName="Reception, ground floor")"
                    R"( SubProcessSessions="100008|alice|console"><Proxy Name="Proxy 1")"
                    R"( Server="proxy.example.org:3128" Time="2026-03-04T09:15:27" Priority="1" Value="1"/>)"
                    R"(</Status>)"),
                id);
            check(::write(peer.get(), out.data(), out.size()) == static_cast<ssize_t>(out.size()));
        }
    }

    Kvs::FileDescriptor listener_;
    std::thread thread_;
};

Kvs::FileDescriptor listenAt(const std::string& path) {
    Kvs::FileDescriptor listener(::socket(AF_UNIX, SOCK_STREAM, 0));
    check(::bind(listener.get(), Kvs::LocalAddress(path).get(), Kvs::LocalAddress::kLength) == 0 &&
          ::listen(listener.get(), 1) == 0);
    return listener;
}

class NoDelegate : public kvn::RemoteServiceConnectorDelegate {
public:
    void serviceConnectorFailedWithError(kvn::RemoteServiceConnector&, std::int32_t,
                                         const std::string&) override {
        std::abort();
    }
    void serviceConnectorLostConnection(kvn::RemoteServiceConnector&) override { std::abort(); }
    void serviceConnectorReceivedAgentRegistrationResult(kvn::RemoteServiceConnector&,
                                                         const kvn::OFRRequestResult&) override {}
    bool serviceConnectorShouldHandleLaunchRequest(kvn::RemoteServiceConnector&, const std::string&,
                                                   const std::vector<std::string>&) override {
        return false;
    }
    void updateStatus() override {}
};

/// The connector in the program's main loop: the pipe's thread reads the answer and posts it.
class OursPoll {
public:
    OursPoll() {
        Kvs::FComMessengerPipe::pipeFullPath(Kvs::FRSCtrl::Pipe_RemoteClient, true);
        service_ = std::make_unique<Service>(
            listenAt(Kvs::FComMessengerPipe::pipeFullPath(Kvs::FRSCtrl::Pipe_RemoteClient, false)));
        connector_ = std::make_shared<kvn::RemoteServiceConnector>(
            kvn::RemoteServiceConnector::Environment{
                loop_, environment_.clock, environment_.toolQueue, environment_.runner, environment_.bundle,
                environment_.system, environment_.session, environment_.sleepMonitor, environment_.settings},
            delegate_, launchLimit_);
    }
    ~OursPoll() { connector_->close(); }

    void run() {
        left_ = kPolls;
        schedule();
        loop_.run();
    }

private:
    void schedule() {
        loop_.postAfter(std::chrono::milliseconds(0), [this] {
            connector_->requestServiceStatus(
                [this](const kvn::RemoteServiceConnector::Response* response, std::int32_t) {
                    check(response && std::get<OFRServiceInfo>(*response).server == "remote.example.org");
                    if (--left_ > 0) {
                        schedule();
                    } else {
                        loop_.quit();
                    }
                });
        });
    }

    kvn::test::AgentEnvironment environment_;
    kvn::host::PollMainLoop loop_;
    std::unique_ptr<Service> service_;
    NoDelegate delegate_;
    kvn::LaunchLimit launchLimit_{loop_, environment_.clock};
    std::shared_ptr<kvn::RemoteServiceConnector> connector_;
    int left_ = 0;
};

/// One thread that sends when its timer is due, waits with poll(2), reads and calls the completion.
class BarePoll {
public:
    BarePoll() : service_(listenAt(folder_.file("service"))) {
        socket_ = Kvs::FileDescriptor(::socket(AF_UNIX, SOCK_STREAM, 0));
        const Kvs::LocalAddress address(folder_.file("service"));
        check(::connect(socket_.get(), address.get(), Kvs::LocalAddress::kLength) == 0);
    }
    ~BarePoll() { socket_.reset(); }

    void run() {
        for (int left = kPolls; left > 0; --left) {
            pollfd polled{socket_.get(), POLLIN, 0};
            check(::poll(&polled, 1, 0) == 0); // the timer is due
            fmtStatusRequest({0, {}, 0, ++request_}, [&](std::string_view bytes) {
                check(::write(socket_.get(), bytes.data(), bytes.size()) ==
                      static_cast<ssize_t>(bytes.size()));
            });
            check(::poll(&polled, 1, -1) == 1);
            std::array<char, 4096> answer;
            const ssize_t count = ::read(socket_.get(), answer.data(), answer.size());
            check(count > 0);
            pugixmlRecord({answer.data(), static_cast<std::size_t>(count)}, [&](const OFRServiceInfo& info) {
                check(info.requestID == request_ && info.server == "remote.example.org");
            });
        }
    }

private:
    kvn::test::TemporaryFolder folder_;
    Service service_;
    Kvs::FileDescriptor socket_;
    Kvs::RequestId request_ = 0;
};

// MARK: Measurements

/// Returns true if the contenders make the same of every input; otherwise a comparison is meaningless.
bool contendersAgree() {
    static const bool agree = [] {
        for (const std::string& delivery : deliveries()) {
            std::vector<decltype(fieldsOf({}))> records;
            const auto keep = [&](const OFRServiceInfo& info) { records.push_back(fieldsOf(info)); };
            oursRecord(delivery, keep);
            pugixmlRecord(delivery, keep);
            if (records.size() != 2 || records[0] != records[1]) {
                return false;
            }
        }
        for (const Registration& values : registrations()) {
            std::string ours;
            std::string peers;
            const auto add = [](std::string& to) { return [&](std::string_view bytes) { to += bytes; }; };
            oursRegistration(values, add(ours));
            oursStatusRequest(values, add(ours));
            fmtRegistration(values, add(peers));
            fmtStatusRequest(values, add(peers));
            if (ours != peers) {
                return false;
            }
        }
        return true;
    }();
    return agree;
}

/// Measures one call for each of the inputs in turn.
template <class Input, class Work>
void measure(benchmark::State& state, const std::vector<Input>& inputs, Work work) {
    if (!contendersAgree()) {
        state.SkipWithError("the contenders make different things");
        return;
    }
    std::size_t next = 0;
    for (auto _ : state) {
        work(inputs[next]);
        next = next + 1 == inputs.size() ? 0 : next + 1;
    }
}

/// Takes a record, or bytes to be written.
constexpr auto kTake = [](const auto& result) {
    benchmark::DoNotOptimize(&result);
    benchmark::ClobberMemory();
};

void recordOurs(benchmark::State& state) {
    measure(state, deliveries(), [](const std::string& text) { oursRecord(text, kTake); });
}
void recordPugixml(benchmark::State& state) {
    measure(state, deliveries(), [](const std::string& text) { pugixmlRecord(text, kTake); });
}

template <class Contender>
void poll(benchmark::State& state) {
    Contender contender;
    for ([[maybe_unused]] auto _ : state) {
        contender.run();
    }
    state.SetItemsProcessed(state.iterations() * kPolls);
}

void registrationOurs(benchmark::State& state) {
    measure(state, registrations(), [](const Registration& values) { oursRegistration(values, kTake); });
}
void registrationFmt(benchmark::State& state) {
    measure(state, registrations(), [](const Registration& values) { fmtRegistration(values, kTake); });
}
void statusRequestOurs(benchmark::State& state) {
    measure(state, registrations(), [](const Registration& values) { oursStatusRequest(values, kTake); });
}
void statusRequestFmt(benchmark::State& state) {
    measure(state, registrations(), [](const Registration& values) { fmtStatusRequest(values, kTake); });
}

BENCHMARK(recordOurs)->Name("delivery_to_record/ours");
BENCHMARK(recordPugixml)->Name("delivery_to_record/pugixml");
BENCHMARK(registrationOurs)->Name("registration/ours");
BENCHMARK(registrationFmt)->Name("registration/fmt");
BENCHMARK(statusRequestOurs)->Name("status_request/ours");
BENCHMARK(statusRequestFmt)->Name("status_request/fmt");
BENCHMARK(poll<OursPoll>)->Name("whole_poll/ours")->MeasureProcessCPUTime();
BENCHMARK(poll<BarePoll>)->Name("whole_poll/bare")->MeasureProcessCPUTime();

} // namespace
