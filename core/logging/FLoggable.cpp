// SPDX-License-Identifier: MIT

#include "core/logging/FLoggable.h"

#include "core/logging/CNSLog.h"
#include "core/system/PosixDifferences.h"
#include "core/time/FTime.h"

#include <cstdio>
#include <string>

namespace Kvs {

FRef<FLogBook> FLoggable::exchangeLogBook(FRef<FLogBook> book) {
    FLockGuard guard(lock_);
    return std::exchange(book_, std::move(book));
}

FRef<FLogBook> FLoggable::logBook() {
    FLockGuard guard(lock_);
    return book_;
}

FRef<FLogBook> FLoggable::attachLogBook(const FRef<FLogBook>& book) {
    FRef<FLogBook> previous = exchangeLogBook(book);
    onLogBookAttached(book);
    return previous;
}

FRef<FLogBook> FLoggable::detachLogBook() {
    FRef<FLogBook> previous = exchangeLogBook({});
    onLogBookDetached();
    return previous;
}

void FLoggable::onLogBookAttached(const FRef<FLogBook>&) {}
void FLoggable::onLogBookDetached() {}

bool FLoggable::addLogRecord(const FLogRecord& record) {
    const FRef<FLogBook> book = logBook();
    const bool kept = book && book->add(record);
    if (CNSDbgLogEnabled()) {
        std::string items;
        for (const TFValueBase& item : record) {
            item.appendTo(items);
            items += '\t';
        }
        copyToSystemLog(items);
    }
    return kept;
}

void FLoggable::copyToSystemLog(std::string_view items) {
    std::string text = FTime(true).toCStringEx().str();
    text.append(" ").append(getLogThreadId()).append(": ").append(items);
    CNSSysLogMsg(text.c_str());
}

void FLoggable::writeStream(std::uint8_t channel, std::int32_t kind, const void* data, std::int64_t size) {
    if (const FRef<FLogBook> book = logBook()) {
        book->writeStream(channel, kind, data, size);
    }
}

std::string_view FLoggable::getLogThreadId() {
    thread_local char text[64];
    thread_local const std::string_view id(
        text, static_cast<std::size_t>(std::snprintf(text, sizeof text, "Thread[%x]", threadIdNumber())));
    return id;
}

} // namespace Kvs
