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

/// One remembered error: `text1` called `text2`, which returned `result`. Immutable, shared by reference.
struct FLogLastError {
    std::int32_t code;
    std::string text1;
    std::string text2;
    std::int32_t result;
    std::optional<std::string> text3; // a free description
    pthread_t thread;                 // that called setLastError
};

/// A sink of log records that also remembers errors until they are cleared. Any thread. In the error
/// queries a code of 0 and a thread of `pthread_t{}` stand for any.
class FLogBook {
public:
    FLogBook() = default;
    virtual ~FLogBook() = default;
    FLogBook(const FLogBook&) = delete;
    FLogBook& operator=(const FLogBook&) = delete;

    /// Whether the record was kept; one that was not is the caller's to put elsewhere. The base keeps none
    /// and wants none kept: true.
    virtual bool add(const FLogRecord& record);

    /// As `add` of a record with this one text, which most lines are; books may save themselves the record.
    virtual bool addText(std::string_view text);

    /// Takes raw data of a channel, where a book has a use for it.
    virtual void writeStream(std::uint8_t channel, std::int32_t kind, const void* data, std::int64_t size);

    /// Remembers the error and adds a line about it.
    virtual void setLastError(std::int32_t code, const char* text1, const char* text2, std::int32_t result,
                              const char* text3);

    /// The latest error that fits; false when there is none.
    virtual bool getLastError(FRef<FLogLastError>& out, std::int32_t code, pthread_t thread);
    virtual bool hasLastError(std::int32_t code, pthread_t thread);

    /// Copies, oldest first.
    virtual FList<FRef<FLogLastError>> getLastErrors();
    virtual FList<FRef<FLogLastError>> getLastOpErrors(std::int32_t code);
    virtual FList<FRef<FLogLastError>> getLastThreadErrors(pthread_t thread);

    virtual void clearLastError(std::int32_t code, pthread_t thread);

    /// Whether the book takes no records at present.
    virtual bool isInactive() const;

    /// The path of the session's transfer log, if the book keeps one.
    virtual bool getSessionTransferLog(FGStr<wchar_t>& path) const;

protected:
    FThreadLock lock_;

private:
    FList<FRef<FLogLastError>> matching(std::int32_t code, pthread_t thread);

    FList<FRef<FLogLastError>> lastErrors_ KVS_GUARDED_BY(lock_);
};

/// Swallows everything.
class FLogBookDummy : public FLogBook {};

} // namespace Kvs
