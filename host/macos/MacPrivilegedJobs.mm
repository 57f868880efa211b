// SPDX-License-Identifier: MIT

#include "host/macos/MacPrivilegedJobs.h"

#include "core/logging/CNSLog.h"
#include "core/threads/FThreadLock.h"
#include "host/macos/Conversions.h"
#include "host/macos/MacPropertyList.h"

#import <Security/Authorization.h>
#import <ServiceManagement/ServiceManagement.h>
#include <condition_variable>

namespace kvn::host {

static_assert(PrivilegedJobs::kDenied == errAuthorizationDenied);
static_assert(PrivilegedJobs::kCanceled == errAuthorizationCanceled);
static_assert(PrivilegedJobs::kInteractionNotAllowed == errAuthorizationInteractionNotAllowed);
static_assert(PrivilegedJobs::kInternal == errAuthorizationInternal);
static_assert(PrivilegedJobs::kInteractionAllowed == kAuthorizationFlagInteractionAllowed);
static_assert(PrivilegedJobs::kExtendRights == kAuthorizationFlagExtendRights);
static_assert(PrivilegedJobs::kPreAuthorize == kAuthorizationFlagPreAuthorize);

namespace {

using Kvs::FLockGuard;
using SharedAuthorization = std::shared_ptr<const AuthorizationOpaqueRef>;

class MacAuthorization final : public PrivilegedJobs::Authorization {
public:
    explicit MacAuthorization(AuthorizationRef authorization)
        : shared(authorization,
                 [](AuthorizationRef ended) { AuthorizationFree(ended, kAuthorizationFlagDefaults); }) {}

    const SharedAuthorization shared;
};

const SharedAuthorization& sharedOf(PrivilegedJobs::Authorization& authorization) {
    return static_cast<MacAuthorization&>(authorization).shared; // the only class of them here
}

/// Refers to the texts of an environment, which outlives it.
class ItemSet {
public:
    explicit ItemSet(const PrivilegedJobs::Environment& environment) {
        for (const auto& [name, value] : environment) {
            // The system does not change the value.
            items_.push_back({name.c_str(), value.size(), const_cast<char*>(value.data()), 0});
        }
        set_ = {static_cast<UInt32>(items_.size()), items_.data()};
    }
    ItemSet(const ItemSet&) = delete;
    ItemSet& operator=(const ItemSet&) = delete;

    const AuthorizationItemSet* get() const { return &set_; }

private:
    std::vector<AuthorizationItem> items_;
    AuthorizationItemSet set_{};
};

/// A request for a right and all that the system reads for it, which stays until the answer comes.
struct Question {
    const SharedAuthorization authorization;
    const PrivilegedJobs::Environment rights; // by name, without a value
    const PrivilegedJobs::Environment environment;
    const ItemSet rightItems{rights};
    const ItemSet environmentItems{environment};
    std::optional<std::int32_t> result = std::nullopt; // guarded by the lock of the questions
};

} // namespace

struct MacPrivilegedJobs::Questions {
    Kvs::FThreadLock lock;
    std::condition_variable_any changed;
    bool ended KVS_GUARDED_BY(lock) = false;
};

MacPrivilegedJobs::MacPrivilegedJobs() : questions_(std::make_shared<Questions>()) {}

std::int32_t MacPrivilegedJobs::createAuthorization(const Environment& environment, std::uint32_t flags,
                                                    std::unique_ptr<Authorization>& authorization) {
    AuthorizationRef created = nullptr;
    const OSStatus result = AuthorizationCreate(nullptr, ItemSet(environment).get(), flags, &created);
    if (result == 0) {
        authorization = std::make_unique<MacAuthorization>(created);
    }
    return result;
}

std::int32_t MacPrivilegedJobs::copyRights(Authorization& authorization, const std::string& right,
                                           const Environment& environment, std::uint32_t flags) {
    @autoreleasepool {
        const auto questions = questions_;
        const auto question = std::shared_ptr<Question>(
            new Question{sharedOf(authorization), Environment{{right, ""}}, environment});
        FLockGuard guard(questions->lock);
        if (questions->ended) {
            return kCanceled;
        }
        // Asked without waiting in the call, which nothing could end.
        AuthorizationCopyRightsAsync(question->authorization.get(), question->rightItems.get(),
                                     question->environmentItems.get(), flags,
                                     ^(OSStatus result, AuthorizationRights* granted) {
                                       if (granted) {
                                           AuthorizationFreeItemSet(granted);
                                       }
                                       FLockGuard answerGuard(questions->lock);
                                       question->result = result;
                                       questions->changed.notify_all();
                                     });
        while (!question->result && !questions->ended) {
            questions->changed.wait(questions->lock);
        }
        return question->result.value_or(kCanceled);
    }
}

void MacPrivilegedJobs::interrupt() {
    FLockGuard guard(questions_->lock);
    questions_->ended = true;
    questions_->changed.notify_all();
}

// SMJobBless is deprecated since macOS 13, whose way to register jobs the releases 11 and 12 lack.
// SMJobCopyDictionary is deprecated since 10.10 without a replacement.
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wdeprecated-declarations"

std::optional<Error> MacPrivilegedJobs::bless(const std::string& label, Authorization& authorization) {
    @autoreleasepool {
        CFErrorRef error = nullptr;
        const bool blessed = SMJobBless(kSMDomainSystemLaunchd, (__bridge CFStringRef)nsString(label),
                                        sharedOf(authorization).get(), &error);
        NSError* const reason = CFBridgingRelease(error);
        return blessed ? std::nullopt : std::optional(errorOf(reason, "SMJobBless"));
    }
}

std::optional<PropertyValue::Dictionary> MacPrivilegedJobs::jobDictionary(const std::string& label) const {
    @autoreleasepool {
        const id job = CFBridgingRelease(
            SMJobCopyDictionary(kSMDomainSystemLaunchd, (__bridge CFStringRef)nsString(label)));
        if (!job) {
            return std::nullopt;
        }
        auto list = propertyValueOf(job);
        if (const auto* error = std::get_if<Error>(&list)) {
            Kvs::OCNSLog("Could not read the job %@: %@", label, *error);
            return std::nullopt;
        }
        auto* const entries = std::get_if<PropertyValue::Dictionary>(&std::get<PropertyValue>(list).value);
        return entries ? std::optional(std::move(*entries)) : std::nullopt;
    }
}

#pragma clang diagnostic pop

} // namespace kvn::host
