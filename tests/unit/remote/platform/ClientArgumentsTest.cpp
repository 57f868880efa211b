#include "remote/platform/ClientArguments.h"
#include "tests/support/Test.h"

namespace kvn {

using namespace kvn::test;
namespace {

TEST(ClientArguments, AreSplitOutsideQuotesAndRewritten) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {" \t ", {}},
        {"/sessionid:123 \"/remoteuser:John Smith\" /transferlog:on",
         {"-sid:123", "\"-sessionclientname:John Smith\"", "-transferlog:on"}},
        {"  a\t\tb  ", {"a", "b"}},
        {"/proxyconfig:/sessionid:1", {"-proxyconfig:-sid:1"}},
        {"x\"a b\"y z", {"x\"a b\"y", "z"}},
        {"\"never closed a b", {"\"never closed a b"}},
        {"a\xC2\xA0"
         "b\xE3\x80\x80 c\xE2\x80\x8A",
         {"a", "b", "c"}},
        {"/SessionId:1", {"/SessionId:1"}},
        {"B\xC3\xBCro \xE6\x97\xA5", {"B\xC3\xBCro", "\xE6\x97\xA5"}},
    };
    for (const auto& [parameters, arguments] : cases) {
        EXPECT_EQ(clientArguments(parameters), arguments) << parameters;
    }
}

} // namespace
} // namespace kvn
