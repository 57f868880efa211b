// SPDX-License-Identifier: MIT

#pragma once

#include "core/base/Containers.h"
#include "core/base/FRef.h"
#include "core/logging/FLogRecord.h"
#include "core/text/FGStr.h"
#include "core/threads/FThreadLock.h"

#include <cstdint>
#include <optional>
#include <pthread.h>
#include <string>
#include <string_view>

namespace Kvs {

/// Describes one error: `text1` called `text2`, which returned `result`. Immutable, shared by reference.
struct FLogLastError {
    std::int32_t code;
    std::string text1;
    std::string text2;
    std::int32_t result;
    std::optional<std::string> text3; // a description in any form
    pthread_t thread;                 // that called setLastError
};

/// A sink of log records that also remembers errors until they are cleared. Any thread. In the error queries
/// a code of 0 matches every code, and a thread of `pthread_t{}` every thread.
class FLogBook {
public:
    FLogBook() = default;
    virtual ~FLogBook() = default;
    FLogBook(const FLogBook&) = delete;
    FLogBook& operator=(const FLogBook&) = delete;

    /// Adds a line with the record's items, whose control characters are escaped. Returns false if the line
    /// could not be kept, so that the caller can put it elsewhere. The base class needs no record and returns
    /// true.
    virtual bool add(const FLogRecord& record);

    /// Adds a line with this one item, which is the usual line. The text is complete: values were escaped
    /// when they were inserted, and line breaks that are left in it belong to its format.
    virtual bool addText(std::string_view text);

    /// Takes raw data of a channel. The base class ignores it.
    virtual void writeStream(std::uint8_t channel, std::int32_t kind, const void* data, std::int64_t size);

    /// Remembers the error and adds a line about it.
    virtual void setLastError(std::int32_t code, const char* text1, const char* text2, std::int32_t result,
                              const char* text3);

    /// Stores the latest error that fits; returns false when there is none.
    virtual bool getLastError(FRef<FLogLastError>& out, std::int32_t code, pthread_t thread);
    virtual bool hasLastError(std::int32_t code, pthread_t thread);

    /// The next three return copies, oldest first.
    virtual FList<FRef<FLogLastError>> getLastErrors();
    virtual FList<FRef<FLogLastError>> getLastOpErrors(std::int32_t code);
    virtual FList<FRef<FLogLastError>> getLastThreadErrors(pthread_t thread);

    virtual void clearLastError(std::int32_t code, pthread_t thread);

    /// Returns true while the book takes no records.
    virtual bool isInactive() const;

    /// Stores the path of the session's transfer log; returns false when the book keeps none.
    virtual bool getSessionTransferLog(FGStr<wchar_t>& path) const;

protected:
    FThreadLock lock_;

private:
    FList<FRef<FLogLastError>> matching(std::int32_t code, pthread_t thread);

    FList<FRef<FLogLastError>> lastErrors_ KVS_GUARDED_BY(lock_);
};

/// Discards everything.
class FLogBookDummy : public FLogBook {};

} // namespace Kvs
