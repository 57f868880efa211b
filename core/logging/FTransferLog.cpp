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

const FRef<FLogBook>& FTransferLog::currentLogBook() {
    thread_local FRef<FLogBook> book;
    thread_local unsigned int change = 0;
    if (const unsigned int latest = changes_; latest != change) {
        book = logBook();
        change = latest;
    }
    return book;
}

bool FTransferLog::log(std::string_view text) {
    const FRef<FLogBook>& book = instance().currentLogBook();
    if (!book || book->isInactive()) {
        return false;
    }
    if (!CNSDbgLogEnabled()) {
        return book->addText(text);
    }
    FLogRecord record;
    record << text;
    return addLogRecordTo(book, record);
}

} // namespace Kvs
