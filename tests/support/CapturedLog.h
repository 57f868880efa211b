// SPDX-License-Identifier: MIT

#pragma once

#include "core/logging/FTransferLog.h"

#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace kvn::test {

/// Keeps every line that is logged during its scope, with tabs between the items, and restores the former
/// log book at its end. Any thread may log.
class CapturedLog {
public:
    CapturedLog() : book_(new Book), previous_(Kvs::FTransferLog::useLogBook(book_)) {}
    ~CapturedLog() { Kvs::FTransferLog::useLogBook(previous_); }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    std::vector<std::string> lines() const { return static_cast<Book&>(*book_).lines(); }

    /// Returns the lines that contain the text.
    std::vector<std::string> linesWith(const std::string& text) const {
        auto found = lines();
        std::erase_if(found, [&](const std::string& line) { return line.find(text) == line.npos; });
        return found;
    }
    std::size_t count(const std::string& text) const { return linesWith(text).size(); }
    bool contains(const std::string& text) const { return count(text) > 0; }

private:
    class Book : public Kvs::FLogBook {
    public:
        bool add(const Kvs::FLogRecord& record) override {
            std::string line;
            for (const Kvs::TFValueBase& item : record) {
                line.append(line.empty() ? "" : "\t").append(item.toCString().token());
            }
            const std::lock_guard<std::mutex> guard(mutex_);
            lines_.push_back(std::move(line));
            return true;
        }

        std::vector<std::string> lines() const {
            const std::lock_guard<std::mutex> guard(mutex_);
            return lines_;
        }

    private:
        mutable std::mutex mutex_;
        std::vector<std::string> lines_;
    };

    Kvs::FRef<Kvs::FLogBook> book_;
    Kvs::FRef<Kvs::FLogBook> previous_;
};

} // namespace kvn::test
