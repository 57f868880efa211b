// SPDX-License-Identifier: MIT

#include "agent/ServiceNotices.h"

#include <utility>

namespace kvn {

void ServiceNotices::update(bool online, bool inSession) {
    if (online) {
        awaySince_.reset();
        const bool known = std::exchange(wasOnline_, true);
        if (std::exchange(absenceTold_, false)) {
            tell_(Notice::ServiceBack);
        }
        if (std::exchange(inSession_, inSession) != inSession && known) {
            tell_(inSession ? Notice::SessionBegan : Notice::SessionEnded);
        }
    } else if (wasOnline_ && !absenceTold_) {
        // Until the service is online again, nobody knows if a session has ended.
        if (!awaySince_) {
            awaySince_ = clock_.steadyNow();
        } else if (clock_.steadyNow() - *awaySince_ > kLongestAbsence) {
            absenceTold_ = true;
            tell_(Notice::ServiceAway);
        }
    }
}

void ServiceNotices::reset() {
    wasOnline_ = inSession_ = absenceTold_ = false;
    awaySince_.reset();
}

} // namespace kvn
