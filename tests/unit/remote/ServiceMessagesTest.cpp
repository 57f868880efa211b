#include "remote/ServiceMessages.h"

#include "core/text/Widening.h"
#include "remote/xml/FEncXmlDocument.h"

#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace Kvs {
namespace {

constexpr std::uint64_t kOwnSession = 100008;

class ServiceMessages : public testing::Test {
protected:
    FEncXmlNode<char> load(const std::string& text) {
        EXPECT_TRUE(document_.loadXml(text.c_str())) << text;
        return document_.root();
    }
    _FRServiceInfo status(const std::string& attributes) {
        return fReadServiceInfo(load("<Status " + attributes + "/>"), kOwnSession);
    }

    FEncXmlDocument<char> document_;
};

TEST(LeadingNumber, StopsAtTheFirstOtherCharacter) {
    const std::pair<const char*, std::int64_t> cases[] = {
        {"", 0},
        {"17", 17},
        {"-3", -3},
        {"12abc", 12},
        {"abc", 0},
        {"-", 0},
        {"+5", 0},
        {" 5", 0},
        {"--5", 0},
        {"007", 7},
        {"9223372036854775807", std::numeric_limits<std::int64_t>::max()},
        {"9223372036854775808", std::numeric_limits<std::int64_t>::min()},
        {"99999999999999999999999999999999", -8814407033341083649}, // 10^32 - 1, in 64 bits
    };
    for (const auto& [text, number] : cases) {
        EXPECT_EQ(fLeadingNumber(text), number) << text;
    }
}

TEST_F(ServiceMessages, StateWordIsComparedWhole) {
    const std::pair<const char*, ServiceState> cases[] = {
        {"Value=\"online\"", ServiceState::Online},   {"Value=\"paused\"", ServiceState::Paused},
        {"Value=\"Online\"", ServiceState::Offline},  {"Value=\"online \"", ServiceState::Offline},
        {"Value=\"offline\"", ServiceState::Offline}, {"Server=\"x\"", ServiceState::Offline},
    };
    for (const auto& [attributes, state] : cases) {
        EXPECT_EQ(status(attributes).status, state) << attributes;
    }
}

TEST_F(ServiceMessages, StatusIsReadWhole) {
    const auto info = fReadServiceInfo(
        load("<Status Value=\"online\" RequestData=\"17\" Server=\"relay&amp;01\" Version=\"5.0.1\" "
             "LastError=\"\" "
             "RemoteRegistrationName=\"B\xC3\xBCro\" SubProcessSessions=\"7,100008|alice|x\">"
             "<Proxy Name=\"a\" Server=\"s\" Time=\"12:00:00\" Priority=\"1\" Value=\"1\"/>"
             "<Proxy Name=\"b\" Value=\"online\"/><Proxy Name=\"c\" Value=\"0\"/><Proxy Name=\"d\" "
             "Value=\"off\"/>"
             "<Other><Proxy Name=\"deep\"/></Other></Status>"),
        kOwnSession);
    EXPECT_EQ(info.requestId, 17U);
    EXPECT_EQ(info.server, L"relay&01");
    EXPECT_EQ(info.version, L"5.0.1");
    EXPECT_EQ(fNarrow(info.registration), "B\xC3\xBCro");
    EXPECT_TRUE(info.subProcessRunning);
    EXPECT_EQ(info.subProcessUser, L"alice");
    ASSERT_EQ(info.proxyInfos.size(), 4U);
    EXPECT_EQ(info.proxyInfos[0].name, L"a");
    EXPECT_EQ(info.proxyInfos[0].time, L"12:00:00");
    const bool active[] = {true, true, false, false};
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(info.proxyInfos[i].active, active[i]) << i;
    }
}

TEST_F(ServiceMessages, SubProcessSessions) {
    struct Case {
        const char* list;
        bool running;
        const wchar_t* user;
    };
    const Case cases[] = {
        {"", false, L""},
        {"100011", false, L""},
        {"100008", true, L""},
        {"1,100008|alice|console", true, L"alice"},
        {"100008|alice", true, L"alice"},
        {"100008||x", true, L""},
        {"1000081", false, L""},
        {"x100008", false, L""},
        {",,100008,", true, L""},
    };
    for (const Case& each : cases) {
        const auto info = status("SubProcessSessions=\"" + std::string(each.list) + "\"");
        EXPECT_EQ(info.subProcessRunning, each.running) << each.list;
        EXPECT_EQ(info.subProcessUser, each.user) << each.list;
    }
}

TEST_F(ServiceMessages, NumbersOfARequestResult) {
    const auto result = fReadRequestResult(load("<RequestResult RequestData=\"-3\" StatusCode=\"12abc\"/>"));
    EXPECT_EQ(result.requestId, 4294967293U);
    EXPECT_EQ(result.statusCode, 12);
    const auto empty = fReadRequestResult(load("<RequestResult StatusCode=\"-7\"/>"));
    EXPECT_EQ(empty.requestId, 0U);
    EXPECT_EQ(empty.statusCode, -7);
}

} // namespace
} // namespace Kvs
