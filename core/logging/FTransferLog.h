// SPDX-License-Identifier: MIT

#pragma once

#include "core/logging/FLoggable.h"

#include <atomic>
#include <string_view>

namespace Kvs {

/// The process's current log book. Any thread. A thread keeps a handle on the book that it has logged to
/// until it logs again or ends, so that a line takes no lock to find its book.
class FTransferLog : public FLoggable {
public:
    /// Makes the book the current one, or none if the handle is empty, and returns the previous one. A line
    /// that another thread is writing still goes to the previous one.
    static FRef<FLogBook> useLogBook(const FRef<FLogBook>& book);

    /// Adds a line with one item. Returns false when the caller should put it elsewhere: there is no book, it
    /// is inactive, or it could not keep the line and the system log does not have it either, since debug
    /// logging is off.
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

    std::atomic<unsigned int> changes_{1}; // counts the changes of the book, for the threads that cache it
};

} // namespace Kvs
