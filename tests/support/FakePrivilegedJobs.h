#pragma once

#include "host/PrivilegedJobs.h"

#include <functional>
#include <utility>
#include <vector>

namespace kvn::test {

/// Answers as the test says and notes what it was asked. To be looked at while nobody uses it.
class FakePrivilegedJobs : public host::PrivilegedJobs {
public:
    struct Request {
        Environment environment;
        std::uint32_t flags;
    };

    void presentPromptsWith(PromptPresenter presenter) override { promptPresenter = std::move(presenter); }
    std::int32_t createAuthorization(const Environment& environment, std::uint32_t flags,
                                     std::unique_ptr<Authorization>& authorization) override {
        creations.push_back({environment, flags});
        if (creationError == 0) {
            authorization = std::make_unique<Authorization>();
        }
        return creationError;
    }
    std::int32_t copyRights(Authorization&, const std::string& right, const Environment& environment,
                            std::uint32_t flags) override {
        rights.emplace_back(right, Request{environment, flags});
        return rightsError;
    }
    std::optional<host::Error> bless(const std::string& label, Authorization&) override {
        blessed.push_back(label);
        if (onBless) {
            onBless();
        }
        return blessError;
    }
    std::optional<host::PropertyValue::Dictionary> jobDictionary(const std::string&) const override {
        return job;
    }

    PromptPresenter promptPresenter;
    std::int32_t creationError = 0;
    std::int32_t rightsError = 0;
    std::optional<host::Error> blessError;
    std::function<void()> onBless;
    std::optional<host::PropertyValue::Dictionary> job;

    std::vector<Request> creations;
    std::vector<std::pair<std::string, Request>> rights;
    std::vector<std::string> blessed;
};

} // namespace kvn::test
