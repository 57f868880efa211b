// SPDX-License-Identifier: MIT

#include "core/logging/FLogBook.h"

#include "core/text/ControlCharacters.h"

#include <algorithm>

namespace Kvs {

namespace {

bool fits(const FLogLastError& error, std::int32_t code, pthread_t thread) {
    return (code == 0 || error.code == code) &&
           (pthread_equal(thread, pthread_t{}) || pthread_equal(error.thread, thread));
}

std::string orEmpty(const char* text) { return text ? text : ""; }

} // namespace

bool FLogBook::add(const FLogRecord&) { return true; }

bool FLogBook::addText(std::string_view text) {
    FLogRecord record;
    record << text;
    return add(record);
}

void FLogBook::writeStream(std::uint8_t, std::int32_t, const void*, std::int64_t) {}

void FLogBook::setLastError(std::int32_t code, const char* text1, const char* text2, std::int32_t result,
                            const char* text3) {
    {
        const auto description = text3 ? std::optional<std::string>(text3) : std::nullopt;
        FRef<FLogLastError> error(
            new FLogLastError{code, orEmpty(text1), orEmpty(text2), result, description, pthread_self()});
        FLockGuard guard(lock_);
        lastErrors_.push_back(std::move(error));
    }
    const auto inserted = [](const char* value) { return fControlCharactersEscaped(orEmpty(value)); };
    std::string text = "SetLastError(" + std::to_string(code) + "): [" + inserted(text1) + "] has invoked [" +
                       inserted(text2) + "] which returned " + std::to_string(result);
    if (text3) {
        text.append(" - ").append(inserted(text3));
    }
    addText(text);
}

FList<FRef<FLogLastError>> FLogBook::matching(std::int32_t code, pthread_t thread) {
    FLockGuard guard(lock_);
    FList<FRef<FLogLastError>> found;
    std::copy_if(lastErrors_.begin(), lastErrors_.end(), std::back_inserter(found),
                 [&](const auto& error) { return fits(*error, code, thread); });
    return found;
}

bool FLogBook::getLastError(FRef<FLogLastError>& out, std::int32_t code, pthread_t thread) {
    const auto found = matching(code, thread);
    if (found.empty()) {
        return false;
    }
    out = found.back();
    return true;
}

bool FLogBook::hasLastError(std::int32_t code, pthread_t thread) { return !matching(code, thread).empty(); }

FList<FRef<FLogLastError>> FLogBook::getLastErrors() { return matching(0, pthread_t{}); }

FList<FRef<FLogLastError>> FLogBook::getLastOpErrors(std::int32_t code) {
    return matching(code, pthread_t{});
}

FList<FRef<FLogLastError>> FLogBook::getLastThreadErrors(pthread_t thread) { return matching(0, thread); }

void FLogBook::clearLastError(std::int32_t code, pthread_t thread) {
    FLockGuard guard(lock_);
    std::erase_if(lastErrors_, [&](const auto& error) { return fits(*error, code, thread); });
}

bool FLogBook::isInactive() const { return false; }

bool FLogBook::getSessionTransferLog(FGStr<wchar_t>&) const { return false; }

} // namespace Kvs
