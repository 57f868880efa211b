// SPDX-License-Identifier: MIT

#include "remote/ServiceMessages.h"
#include "tests/support/Test.h"

#include "remote/platform/OFRRecords.h"
#include "remote/xml/FEncXmlDocument.h"
#include "tests/support/AgentEnvironment.h"

namespace kvn::test {
namespace {

class ServiceMessagesTest : public testing::Test {
protected:
    Kvs::FEncXmlNode<char> load(const std::string& text) {
        EXPECT_TRUE(document_.loadXml(text.c_str())) << text;
        return document_.root();
    }
    OFRServiceInfo status(const std::string& text) {
        return ObjcDTOFactory::convertFRServiceInfo(Kvs::fReadServiceInfo(load(text), 100008));
    }

private:
    Kvs::FEncXmlDocument<char> document_;
};

TEST_F(ServiceMessagesTest, ANumberEndsAtTheFirstOtherCharacter) {
    const std::pair<const char*, std::int64_t> cases[] = {
        {"", 0},
        {"-3", -3},
        {"12abc", 12},
        {"+5", 0},
        {"--5", 0},
        {"9223372036854775808", std::numeric_limits<std::int64_t>::min()},
        {"99999999999999999999999999999999", -8814407033341083649}, // 10^32 - 1, in 64 bits
    };
    for (const auto& [text, number] : cases) {
        EXPECT_EQ(Kvs::fLeadingNumber(text), number) << text;
    }
}

TEST_F(ServiceMessagesTest, StatesAndSessionsAreComparedWhole) {
    const std::tuple<std::string, std::string, bool, const char*> cases[] = {
        {"Value=\"online\"", "Online", false, ""},
        {"Value=\"paused\"", "Paused", false, ""},
        {"Value=\"online \"", "Offline", false, ""},
        {"SubProcessSessions=\"\"", "Offline", false, ""},
        {"SubProcessSessions=\"100008\"", "Offline", true, ""},
        {"SubProcessSessions=\"1,100008|alice|console\"", "Offline", true, "alice"},
        {"SubProcessSessions=\"100008||x\"", "Offline", true, ""},
        {"SubProcessSessions=\"1000081,x100008\"", "Offline", false, ""},
        {"SubProcessSessions=\",,100008,\"", "Offline", true, ""},
    };
    const FakeBundle bundle;
    for (const auto& [attributes, state, running, user] : cases) {
        const auto info = status("<Status " + attributes + "/>");
        EXPECT_EQ(info.description(bundle), "ServiceStatus: Status" + state) << attributes;
        EXPECT_EQ(info.subProcessRunning, running) << attributes;
        EXPECT_EQ(info.subProcessUser, user) << attributes;
        EXPECT_TRUE(info.proxyInfos.empty());
    }
    for (const auto& [state, text] :
         {std::pair(3, "StatusInitial"), {4, "StatusOffline"}, {7, "StatusOffline"}}) {
        EXPECT_EQ(OFRServiceInfo::serviceStateAsString(ServiceState{state}, bundle), text);
    }
}

TEST_F(ServiceMessagesTest, EveryAttributeReachesTheApplicationsRecord) {
    const auto info =
        status("<Status Value=\"online\" RequestData=\"17\" Server=\"relay&amp;01\" Version=\"5.0.1\" "
               "LastError=\"none\" RemoteRegistrationName=\"B\xC3\xBCro\">"
               "<Proxy Name=\"a\" Server=\"s\" Time=\"12:00:00\" Priority=\"1\" Value=\"1\"/>"
               "<Proxy Name=\"b\" Value=\"online\"/><Proxy Name=\"c\" Value=\"0\"/>"
               "<Proxy Name=\"d\" Value=\"off\"/><Other><Proxy Name=\"deep\"/></Other></Status>");
    EXPECT_EQ(info.description(FakeBundle()), "ServiceStatus: StatusOnline server: relay&01");
    EXPECT_EQ(info.requestID, 17U);
    EXPECT_EQ(info.registration + "|" + info.lastError + "|" + info.version, "B\xC3\xBCro|none|5.0.1");
    std::string proxies;
    for (const OFRProxyInfo& p : info.proxyInfos) {
        proxies += p.name + "," + p.server + "," + p.time + "," + p.priority + (p.active ? ",on " : ",off ");
    }
    EXPECT_EQ(proxies, "a,s,12:00:00,1,on b,,,,on c,,,,off d,,,,off ");

    const auto result = ObjcDTOFactory::convertRequestResult(
        Kvs::fReadRequestResult(load("<RequestResult RequestData=\"-3\" StatusCode=\"12abc\"/>")));
    EXPECT_EQ(result.requestID, 4294967293U);
    EXPECT_EQ(result.statusCode, 12);
    const auto proxy = ObjcDTOFactory::convertProxyStatus(
        Kvs::fReadProxyStatus(load("<ServerStatus RequestData=\"5\" Value=\"v\" LastError=\"e\"/>")));
    EXPECT_EQ(proxy.status + proxy.lastError + std::to_string(proxy.requestID), "ve0");
    const auto command = ObjcDTOFactory::convertFRServiceCommand(Kvs::fReadServiceCommand(
        load("<ServiceCommand RequestData=\"5\" Command=\"c\" Executable=\"&lt;\" Parameters=\"p\"/>")));
    EXPECT_EQ(command.command + command.executable + command.parameters + std::to_string(command.requestID),
              "c<p0");
}

} // namespace
} // namespace kvn::test
