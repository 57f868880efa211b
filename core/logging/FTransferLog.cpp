#include "core/logging/FTransferLog.h"

#include "core/logging/CNSLog.h"

namespace Kvs {

FTransferLog& FTransferLog::instance() {
    static FTransferLog* const instance = new FTransferLog; // never destroyed: threads log until the very end
    return *instance;
}

FRef<FLogBook> FTransferLog::useLogBook(const FRef<FLogBook>& book) {
    return book ? instance().attachLogBook(book) : instance().detachLogBook();
}

void FTransferLog::onLogBookAttached(const FRef<FLogBook>&) { ++changes_; }
void FTransferLog::onLogBookDetached() { ++changes_; }

/// The book that a thread holds on to.
struct FTransferLog::Cache {
    ~Cache() { hasEnded = true; }

    FRef<FLogBook> book;
    unsigned int change = 0;

    /// A thread may still log when its cache is gone: from the destructors of other objects of the thread,
    /// and of static ones. The flag itself has no destructor.
    static thread_local bool hasEnded;
};

thread_local bool FTransferLog::Cache::hasEnded = false;

const FRef<FLogBook>& FTransferLog::currentLogBook() {
    thread_local Cache cache;
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
    if (!CNSDbgLogEnabled()) {
        return book->addText(text);
    }
    FLogRecord record;
    record << text;
    addLogRecord(record); // to the system log at least
    return true;
}

} // namespace Kvs
