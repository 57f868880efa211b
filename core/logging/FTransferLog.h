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

    /// Adds a line with one item. Whether it was kept: not without a book, with an inactive one or when
    /// it could not be written.
    static bool log(std::string_view text);

protected:
    void onLogBookAttached(const FRef<FLogBook>& book) override;
    void onLogBookDetached() override;

private:
    static FTransferLog& instance();
    const FRef<FLogBook>& currentLogBook();

    std::atomic<unsigned int> changes_{1}; // of the attached book, so that threads notice
};

} // namespace Kvs
