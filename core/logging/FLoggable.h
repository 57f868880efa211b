// SPDX-License-Identifier: MIT

#pragma once

#include "core/base/FRef.h"
#include "core/logging/FLogBook.h"
#include "core/threads/FThreadLock.h"

#include <cstdint>
#include <string_view>

namespace Kvs {

/// Base of objects that can have a log book attached. Any thread.
class FLoggable {
public:
    FLoggable() = default;
    virtual ~FLoggable() = default;
    FLoggable(const FLoggable&) = delete;
    FLoggable& operator=(const FLoggable&) = delete;

    /// Both return the book that was attached before. A line that another thread is writing still goes there.
    FRef<FLogBook> attachLogBook(const FRef<FLogBook>& book);
    FRef<FLogBook> detachLogBook();

    /// Hands the record to the attached book and, while debug logging is on, to the system log too.
    /// Returns true if a book kept it.
    virtual bool addLogRecord(const FLogRecord& record);

    virtual void writeStream(std::uint8_t channel, std::int32_t kind, const void* data, std::int64_t size);

    /// Returns "Thread[%x]" with the calling thread's number; valid as long as that thread lives.
    static std::string_view getLogThreadId();

protected:
    /// Writes the items of a line, each with a tab behind it, to the system log.
    static void copyToSystemLog(std::string_view items);

    virtual void onLogBookAttached(const FRef<FLogBook>& book);
    virtual void onLogBookDetached();

    FRef<FLogBook> logBook();

private:
    FRef<FLogBook> exchangeLogBook(FRef<FLogBook> book);

    FThreadLock lock_;
    FRef<FLogBook> book_ KVS_GUARDED_BY(lock_);
};

} // namespace Kvs
