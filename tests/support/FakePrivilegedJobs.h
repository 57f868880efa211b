// SPDX-License-Identifier: MIT

#pragma once

#include "host/PrivilegedJobs.h"
#include "tests/support/Test.h"

namespace kvn::test {

/// Answers as the test says and notes what it was asked. To be looked at while nobody uses it.
class FakePrivilegedJobs : public host::PrivilegedJobs {
public:
    void presentPromptsWith(PromptPresenter) override {}
    std::int32_t createAuthorization(const Environment& environment, std::uint32_t flags,
                                     std::unique_ptr<Authorization>& authorization) override {
        note("create", environment, flags);
        if (creationError == 0) {
            authorization = std::make_unique<Authorization>();
        }
        return creationError;
    }
    std::int32_t copyRights(Authorization&, const std::string& right, const Environment& environment,
                            std::uint32_t flags) override {
        note(right, environment, flags);
        onCopyRights();
        return rightsError;
    }
    std::optional<host::Error> bless(const std::string& label, Authorization&) override {
        blessed.push_back(label);
        onBless();
        return blessError;
    }
    std::optional<host::PropertyValue::Dictionary> jobDictionary(const std::string&) const override {
        return job;
    }

    std::int32_t creationError = 0;
    std::int32_t rightsError = 0;
    std::optional<host::Error> blessError;
    std::function<void()> onCopyRights = [] {};
    std::function<void()> onBless = [] {};
    std::optional<host::PropertyValue::Dictionary> job;

    std::vector<std::string> requests; ///< such as "create 19 prompt=Please"
    std::vector<std::string> blessed;

private:
    void note(const std::string& request, const Environment& environment, std::uint32_t flags) {
        requests.push_back(request + " " + std::to_string(flags));
        for (const auto& [name, value] : environment) {
            requests.back() += " " + name + "=" + value;
        }
    }
};

} // namespace kvn::test
