#pragma once

#include "core/logging/FLoggable.h"

#include <atomic>
#include <string_view>

namespace Kvs {

/// The process's current log book. Any thread. A thread that has logged holds on to the book that it
/// logged to until it logs again or ends, which spares each line a shared lock.
class FTransferLog : public FLoggable {
public:
    /// Makes the book the current one, none when it is empty; returns the one that was. A line that is
    /// just being written still goes there.
    static FRef<FLogBook> useLogBook(const FRef<FLogBook>& book);

    /// Adds a line with one item. False when the caller should put it elsewhere: without a book, with an
    /// inactive one, or when it could not be written and, since debug logging is off, is not in the system
    /// log either.
    static bool log(std::string_view text);

protected:
    void onLogBookAttached(const FRef<FLogBook>& book) override;
    void onLogBookDetached() override;

private:
    struct Cache;

    FTransferLog() = default;
    static FTransferLog& instance();
    const FRef<FLogBook>& currentLogBook();
    bool add(const FRef<FLogBook>& book, std::string_view text);

    std::atomic<unsigned int> changes_{1}; // of the attached book, so that threads notice
};

} // namespace Kvs
