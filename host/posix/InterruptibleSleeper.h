#pragma once

#include "host/Sleeper.h"
#include "host/posix/EndSignal.h"
#include "host/posix/PollUntil.h"

namespace kvn::host {

class InterruptibleSleeper final : public Sleeper {
public:
    void sleepFor(std::chrono::milliseconds duration) override {
        pollfd end{end_.descriptor(), POLLIN, 0};
        pollUntil({&end, 1}, deadlineIn(duration));
    }

    /// Ends the sleeps in progress and all later ones. Any thread.
    void interrupt() { end_.raise(); }

private:
    EndSignal end_;
};

} // namespace kvn::host
