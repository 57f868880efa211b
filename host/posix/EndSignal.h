#pragma once

#include "core/system/WakePipe.h"

#include <atomic>

namespace kvn::host {

/// Tells the threads that block in poll(2) that the program is about to end, once and for all. Any thread.
class EndSignal {
public:
    void raise() {
        raised_ = true;
        pipe_.wake();
    }
    bool isRaised() const { return raised_; }

    /// Readable from `raise` on.
    int descriptor() const { return pipe_.descriptor(); }

private:
    Kvs::WakePipe pipe_;
    std::atomic<bool> raised_ = false;
};

} // namespace kvn::host
