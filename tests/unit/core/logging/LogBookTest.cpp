#include "core/base/Errors.h"
#include "core/logging/FLogBookFile.h"
#include "core/logging/FLoggable.h"
#include "core/text/FGStr.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <memory>
#include <regex.h>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <vector>

namespace {

using namespace Kvs;
using kvn::test::readFile;
using kvn::test::TemporaryFolder;
using kvn::test::writeFile;

const std::string kHeader = "---- Alle Zeiten in UTC / all times are UTC ----\n";
const char* const kLinePattern = "^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3} "
                                 "Thread\\[[1-9a-f][0-9a-f]*\\]:";

FLogRecord recordOf(const std::string& text) {
    FLogRecord record;
    record << text;
    return record;
}

class FLogBookFileTest : public testing::Test {
protected:
    FGStr<wchar_t> path() const { return fWiden(folder.file("log.txt")); }
    std::string content() const { return readFile(folder.file("log.txt")); }

    /// The content with time and thread cut off each line.
    std::string items() const {
        regex_t pattern;
        EXPECT_EQ(regcomp(&pattern, kLinePattern, REG_EXTENDED), 0);
        std::istringstream lines(content());
        std::string line, all;
        while (std::getline(lines, line)) {
            regmatch_t match{};
            const bool matches = regexec(&pattern, line.c_str(), 1, &match, 0) == 0;
            all += line.substr(matches ? static_cast<std::size_t>(match.rm_eo) : 0) + "\n";
        }
        regfree(&pattern);
        return all;
    }

    TemporaryFolder folder;
};

TEST_F(FLogBookFileTest, WritesOneLineARecord) {
    FLogBookFile book(path());
    FLogRecord record;
    record << std::uint32_t{4294967295} << std::int32_t{-5} << static_cast<const char*>(nullptr)
           << FGStr<char>("core") << "Sending Message: GetStatus";
    EXPECT_EQ(record.Count(), 5U);
    EXPECT_EQ(record.itemAt(1).toCString(), "-5");
    EXPECT_TRUE(book.add(record));
    EXPECT_TRUE(book.add(FLogRecord()));
    EXPECT_TRUE(book.add(recordOf(std::string(1'000'000, 'x'))));
    const std::string plain = kHeader + "\t4294967295\t-5\t\tcore\tSending Message: GetStatus\n\n\t" +
                              std::string(1'000'000, 'x') + "\n";
    EXPECT_EQ(items(), plain);
    EXPECT_NE(content().find(std::string(FLoggable::getLogThreadId()) + ":\t4294967295"), std::string::npos);
}

TEST_F(FLogBookFileTest, SeparatesRuns) {
    writeFile(folder.file("log.txt"), ""); // empty as good as new
    FLogBookFile(path()).add(recordOf("first"));
    FLogBookFile(path()).add(recordOf("second"));
    EXPECT_EQ(items(), kHeader + "\tfirst\n\n\n\tsecond\n");
}

TEST_F(FLogBookFileTest, TakesTheLowByteOfEachUnit) {
    FLogBookFile book(fWiden(folder.path()).append(L"/\x16C\x26F\x467")); // "log" in the low bytes
    EXPECT_TRUE(std::filesystem::exists(folder.file("log")));
}

TEST_F(FLogBookFileTest, ThrowsWhenTheFileCannotBeOpened) {
    try {
        FLogBookFile book(fWiden(folder.file("missing/log.txt")));
        FAIL();
    } catch (const FException& error) {
        EXPECT_STREQ(error.what(), "Report file could not be opened");
        EXPECT_STREQ(error.where(), "FLogBookFile()");
    }
}

TEST_F(FLogBookFileTest, AddsTwoLinesForAnError) {
    FLogBookFile book(path());
    book.setLastError(5, "openPipe", "connect", -1, "connection refused");
    book.setLastError(6, "openPipe", "connect", -2, nullptr);
    EXPECT_EQ(
        items(),
        kHeader +
            "\tSetLastError(5): [openPipe] has invoked [connect] which returned -1 - connection refused\n"
            "\tSet LastError:\t4294967295\t5\topenPipe\tconnect\t-1\tconnection refused\n"
            "\tSetLastError(6): [openPipe] has invoked [connect] which returned -2\n"
            "\tSet LastError:\t4294967295\t6\topenPipe\tconnect\t-2\t\n");
}

TEST_F(FLogBookFileTest, LinesOfThreadsAndOfBooksDoNotMix) {
    constexpr std::size_t kThreads = 4;
    constexpr std::size_t kLines = 250;
    const auto text = [](std::size_t thread, std::size_t line) {
        return std::to_string(thread) + ":" + std::string(line * 40, static_cast<char>('a' + thread)) + ".";
    };
    {
        FLogBookFile books[] = {FLogBookFile(path()), FLogBookFile(path())}; // as two processes have them
        std::vector<std::thread> threads;
        for (std::size_t thread = 0; thread < kThreads; ++thread) {
            threads.emplace_back([&, thread] {
                for (std::size_t line = 0; line < kLines; ++line) {
                    books[thread % 2].addText(text(thread, line));
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }
    std::istringstream lines(items().substr((kHeader + "\n\n").size()));
    std::string line;
    std::vector<std::size_t> next(kThreads);
    while (std::getline(lines, line)) {
        const auto thread = static_cast<std::size_t>(line.at(1) - '0');
        ASSERT_EQ(line.substr(1), text(thread, next.at(thread)++));
    }
    EXPECT_EQ(next, std::vector<std::size_t>(kThreads, kLines));
}

/// Files may not grow beyond that in this scope.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &former_);
        const rlimit limit{bytes, former_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &former_);
        std::signal(SIGXFSZ, handler_);
    }

private:
    void (*handler_)(int);
    rlimit former_{};
};

TEST_F(FLogBookFileTest, ATornLineEndsBeforeTheNext) {
    FLogBookFile book(path());
    EXPECT_TRUE(book.add(recordOf("whole")));
    const std::size_t before = content().size();
    {
        const FileSizeLimit limit(before + 60);
        EXPECT_FALSE(book.add(recordOf(std::string(100, 'x'))));
        EXPECT_EQ(content().size(), before + 60) << "as much as there is room for";
        EXPECT_FALSE(book.add(recordOf("no room at all")));
    }
    EXPECT_TRUE(book.add(recordOf("after")));
    EXPECT_THAT(items(), testing::MatchesRegex(kHeader + "\twhole\n\tx+\n\tafter\n"));
}

TEST_F(FLogBookFileTest, TheHeaderComesOnceAndFirstAsSoonAsThereIsRoom) {
    for (const rlim_t room : {0U, 10U}) {
        writeFile(folder.file("log.txt"), "");
        std::unique_ptr<FLogBookFile> book;
        {
            const FileSizeLimit limit(room);
            book = std::make_unique<FLogBookFile>(path());
            EXPECT_FALSE(book->add(recordOf("lost")));
            EXPECT_EQ(content(), kHeader.substr(0, room));
        }
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] { EXPECT_TRUE(book->add(recordOf("kept"))); });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(items(), kHeader + "\tkept\n\tkept\n\tkept\n\tkept\n");
    }
}

TEST(FLogBook, TheBaseLosesNothing) {
    FLogBook book;
    EXPECT_TRUE(book.add(recordOf("x")) && book.addText("x"));
}

TEST(FLogBook, KeepsErrorsUntilTheyAreCleared) {
    FLogBook book;
    std::thread([&] {
        book.setLastError(1, "a", "f", 0, nullptr);
        book.setLastError(2, "b", "f", 0, nullptr);
    }).join();
    const pthread_t self = pthread_self();
    const pthread_t any{};
    book.setLastError(1, "c", "f", 0, nullptr);
    book.setLastError(2, "d", "f", 7, "text");
    const auto names = [](const FList<FRef<FLogLastError>>& errors) {
        std::string all;
        for (const auto& error : errors) {
            all += error->text1;
        }
        return all;
    };
    EXPECT_EQ(names(book.getLastErrors()), "abcd");
    EXPECT_EQ(names(book.getLastOpErrors(1)), "ac");
    EXPECT_EQ(names(book.getLastThreadErrors(self)), "cd");
    FRef<FLogLastError> latest;
    EXPECT_TRUE(book.getLastError(latest, 2, any));
    EXPECT_EQ(latest->text3, "text");
    EXPECT_EQ(latest->result, 7);
    EXPECT_FALSE(book.getLastError(latest, 3, any));

    book.clearLastError(1, self);
    EXPECT_EQ(names(book.getLastErrors()), "abd");
    EXPECT_FALSE(book.hasLastError(1, self));
    book.clearLastError(1, any);
    EXPECT_EQ(names(book.getLastErrors()), "bd");
    book.clearLastError(0, self);
    EXPECT_EQ(names(book.getLastErrors()), "b");
    book.clearLastError(0, any);
    book.clearLastError(0, any);
    EXPECT_EQ(names(book.getLastErrors()), "");
}

} // namespace
