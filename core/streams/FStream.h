// SPDX-License-Identifier: MIT

#pragma once

#include "core/base/Errors.h"
#include "core/events/FDelegate.h"
#include "core/threads/FThread.h"

#include <cerrno>
#include <cstdint>
#include <memory>
#include <tuple>
#include <utility>

namespace Kvs {

/// The rights of an open stream; bits of `FStream::State`. A closed stream has none.
enum FStreamState : unsigned int { kStreamClosed = 0, kStreamMayRead = 1, kStreamMayWrite = 2 };

/// Reports of asynchronous operations, called on the worker thread: the stream, the result, what the
/// operation yields, and the context that was given with the request.
template <class... Values>
using FStreamReport = FDelegate<void, class FStream*, FResult, Values..., void*>;

/// A sequence of bytes with a position. Results are 0 or an `errno` value; a size or position is -1
/// on failure, with `errno` set. A closed stream fails with EBADF.
///
/// The `...Async` operations run the operation of the same name on a worker thread. They return 0, or
/// kFailure when no thread could be started; the delegate is then not called. A stream has one
/// operation at a time: the owner starts the next one after the report, or in it. A stream may be
/// destroyed in a report; elsewhere its destructor waits for the operation in progress.
class FStream {
public:
    FStream() { worker_.setJoinable(true); }
    virtual ~FStream() = default;
    FStream(const FStream&) = delete;
    FStream& operator=(const FStream&) = delete;

    virtual unsigned int State() = 0;
    virtual std::int64_t Size() = 0;
    virtual std::int64_t Position() = 0;
    /// Returns true at the first byte.
    virtual bool BOS() = 0;
    /// Returns true behind the last byte, and when closed.
    virtual bool EOS() = 0;
    virtual FResult moveBegin() = 0;
    virtual FResult moveEnd() = 0;
    virtual FResult moveTo(std::int64_t offset) = 0;
    /// Moves relative to the position.
    virtual FResult move(std::int64_t delta) = 0;
    virtual FResult close() = 0;
    /// Returns an independent stream on the same data, with the same rights and position; null on failure.
    virtual std::unique_ptr<FStream> clone() = 0;

    using DoneReport = std::unique_ptr<FStreamReport<>>;
    using NumberReport = std::unique_ptr<FStreamReport<std::int64_t>>;
    using FlagReport = std::unique_ptr<FStreamReport<bool>>;

    FResult SizeAsync(NumberReport report, void* context) {
        return start(std::move(report), context, [this] { return number(Size()); });
    }
    FResult PositionAsync(NumberReport report, void* context) {
        return start(std::move(report), context, [this] { return number(Position()); });
    }
    FResult BOSAsync(FlagReport report, void* context) {
        return start(std::move(report), context, [this] { return std::tuple(kSuccess, BOS()); });
    }
    FResult EOSAsync(FlagReport report, void* context) {
        return start(std::move(report), context, [this] { return std::tuple(kSuccess, EOS()); });
    }
    FResult moveBeginAsync(DoneReport report, void* context) {
        return start(std::move(report), context, [this] { return std::tuple(moveBegin()); });
    }
    FResult moveEndAsync(DoneReport report, void* context) {
        return start(std::move(report), context, [this] { return std::tuple(moveEnd()); });
    }
    FResult moveToAsync(std::int64_t offset, DoneReport report, void* context) {
        return start(std::move(report), context, [this, offset] { return std::tuple(moveTo(offset)); });
    }
    FResult moveAsync(std::int64_t delta, DoneReport report, void* context) {
        return start(std::move(report), context, [this, delta] { return std::tuple(move(delta)); });
    }
    FResult closeAsync(DoneReport report, void* context) {
        return start(std::move(report), context, [this] { return std::tuple(close()); });
    }

protected:
    /// Runs the operation on the worker thread and hands the tuple that it returns to the report.
    template <class Report, class Operation>
    FResult start(std::unique_ptr<Report> report, void* context, Operation operation) {
        auto job =
            std::make_unique<Job<Report, Operation>>(this, std::move(report), context, std::move(operation));
        return worker_.execute(std::move(job)) ? kSuccess : kFailure;
    }

    /// Called by the destructor of the class that implements the operations.
    void waitForWorker() { worker_.join(); }

private:
    template <class Report, class Operation>
    class Job : public FInvokable<void> {
    public:
        Job(FStream* stream, std::unique_ptr<Report> report, void* context, Operation operation)
            : stream_(stream), report_(std::move(report)), context_(context),
              operation_(std::move(operation)) {}

        void invoke() const override {
            std::apply([this](auto... values) { (*report_)(stream_, values..., context_); }, operation_());
        }

    private:
        FStream* stream_;
        std::unique_ptr<Report> report_;
        void* context_;
        Operation operation_;
    };

    static std::tuple<FResult, std::int64_t> number(std::int64_t value) {
        return {value < 0 ? errno : kSuccess, value};
    }

    FThread worker_;
};

/// A stream that can be read.
class FInStream : public virtual FStream {
public:
    /// Reads up to `length` bytes; `done` is less only at the end of the stream or on failure.
    virtual FResult read(void* buffer, std::int64_t length, std::int64_t& done) = 0;

    using ReadReport = std::unique_ptr<FStreamReport<void*, std::int64_t>>;

    /// The caller keeps the buffer, which must live until the report; the report gets it with the count.
    FResult readAsync(void* buffer, std::int64_t length, ReadReport report, void* context) {
        return start(std::move(report), context, [this, buffer, length] {
            std::int64_t done = 0;
            const FResult result = read(buffer, length, done);
            return std::tuple(result, buffer, done);
        });
    }
};

/// A stream that can be written.
class FOutStream : public virtual FStream {
public:
    virtual FResult write(const void* data, std::int64_t length, std::int64_t& done) = 0;
    /// Hands the buffered data to the system.
    virtual FResult flush() = 0;

    using WriteReport = std::unique_ptr<FStreamReport<const void*, std::int64_t>>;

    /// The caller keeps the data, which must live until the report; the report gets it with the count.
    FResult writeAsync(const void* data, std::int64_t length, WriteReport report, void* context) {
        return start(std::move(report), context, [this, data, length] {
            std::int64_t done = 0;
            const FResult result = write(data, length, done);
            return std::tuple(result, data, done);
        });
    }
};

/// A stream for both directions.
class FStreamEx : public FInStream, public FOutStream {};

} // namespace Kvs
