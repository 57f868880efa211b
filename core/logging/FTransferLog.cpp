// SPDX-License-Identifier: MIT

#include "core/logging/FTransferLog.h"

#include "core/logging/CNSLog.h"

namespace Kvs {

FTransferLog& FTransferLog::instance() {
    static FTransferLog* const instance = new FTransferLog; // never destroyed: threads may log during exit
    return *instance;
}

FRef<FLogBook> FTransferLog::useLogBook(const FRef<FLogBook>& book) {
    return book ? instance().attachLogBook(book) : instance().detachLogBook();
}

void FTransferLog::onLogBookAttached(const FRef<FLogBook>&) { ++changes_; }
void FTransferLog::onLogBookDetached() { ++changes_; }

/// The handle that a thread keeps on the book.
struct FTransferLog::Cache {
    ~Cache() { hasEnded = true; }

    FRef<FLogBook> book;
    unsigned int change = 0;

    /// Destructors of other thread-local and of static objects may log after the thread's cache is destroyed.
    /// The flag has no destructor, so they can read it then.
    static thread_local bool hasEnded;
};

thread_local bool FTransferLog::Cache::hasEnded = false;

const FRef<FLogBook>& FTransferLog::currentLogBook() {
    thread_local Cache cache;
    // The number is read before the book: if the book changes in between, the cache holds an old number and
    // the next line looks again. The other order would keep an old book under the new number.
    if (const unsigned int latest = changes_; latest != cache.change) {
        cache.book = logBook();
        cache.change = latest;
    }
    return cache.book;
}

bool FTransferLog::log(std::string_view text) {
    FTransferLog& log = instance();
    return Cache::hasEnded ? log.add(log.logBook(), text) : log.add(log.currentLogBook(), text);
}

bool FTransferLog::add(const FRef<FLogBook>& book, std::string_view text) {
    if (!book || book->isInactive()) {
        return false;
    }
    const bool kept = book->addText(text);
    if (!CNSDbgLogEnabled()) {
        return kept;
    }
    copyToSystemLog(std::string(text) + "\t"); // even if the book does not keep the line
    return true;
}

} // namespace Kvs
