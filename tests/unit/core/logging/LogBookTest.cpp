#include "core/base/Errors.h"
#include "core/logging/FLogBookFile.h"
#include "core/logging/FLoggable.h"
#include "tests/support/Test.h"

namespace {

using namespace kvn::test;

using namespace Kvs;

const std::string kHeader = "---- Alle Zeiten in UTC / all times are UTC ----\n";

class FLogBookFileTest : public testing::Test {
protected:
    std::string content() const { return readFile(folder.file("log.txt")); }

    /// The content without the time and thread of each line.
    std::string items() const {
        std::istringstream lines(content());
        std::string line, all;
        while (std::getline(lines, line)) {
            const auto prefix = line.find("]:");
            all += line.substr(prefix == line.npos ? 0 : prefix + 2) + "\n";
        }
        return all;
    }

    const kvn::test::TemporaryFolder folder;
    /// The low byte of each unit gives "log.txt".
    const FGStr<wchar_t> path = fWiden(folder.path()).append(L"/\x16C\x26F\x467.txt");
};

TEST_F(FLogBookFileTest, WritesOneLineARecordAndSeparatesRuns) {
    writeFile(folder.file("log.txt"), ""); // gets a header as a new file does
    EXPECT_TRUE(FLogBookFile(path).addText("first"));
    EXPECT_THAT(content(), testing::MatchesRegex(
                               kHeader + "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3} "
                                         "Thread\\[[1-9a-f][0-9a-f]*\\]:\tfirst\n"));
    EXPECT_THAT(content(), testing::HasSubstr(std::string(FLoggable::getLogThreadId()) + ":\tfirst"));
    FLogBookFile book(path);
    FLogRecord record;
    record << std::uint32_t{4294967295} << std::int32_t{-5} << static_cast<const char*>(nullptr)
           << FGStr<char>("core") << "Sending Message: GetStatus";
    EXPECT_EQ(record.Count(), 5U);
    EXPECT_EQ(record.itemAt(1).toCString(), "-5");
    EXPECT_TRUE(book.add(record));
    EXPECT_TRUE(book.add(FLogRecord()));
    EXPECT_TRUE(book.addText(std::string(1'000'000, 'x')));
    EXPECT_EQ(items(), kHeader + "\tfirst\n\n\n\t4294967295\t-5\t\tcore\tSending Message: GetStatus\n\n\t" +
                           std::string(1'000'000, 'x') + "\n");
}

TEST_F(FLogBookFileTest, ThrowsWhenTheFileCannotBeOpened) {
    EXPECT_THAT([&] { FLogBookFile book(fWiden(folder.file("missing/log.txt"))); },
                testing::Throws<FException>(testing::AllOf(
                    testing::Property(&FException::what, testing::StrEq("Report file could not be opened")),
                    testing::Property(&FException::where, testing::StrEq("FLogBookFile()")))));
}

TEST_F(FLogBookFileTest, AddsTwoLinesForAnError) {
    FLogBookFile book(path);
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
        FLogBookFile books[] = {FLogBookFile(path), FLogBookFile(path)}; // as two processes have them
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

/// Performs the action while files may not grow beyond a size.
template <class Action>
void withFileSizeLimit(rlim_t bytes, Action action) {
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit former{};
    getrlimit(RLIMIT_FSIZE, &former);
    const rlimit limit{bytes, former.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    action();
    setrlimit(RLIMIT_FSIZE, &former);
    std::signal(SIGXFSZ, handler);
}

TEST_F(FLogBookFileTest, WhatAFullDiskHasTornIsCompletedFirst) {
    for (const rlim_t room : {0U, 10U}) {
        writeFile(folder.file("log.txt"), "");
        FRef<FLogBookFile> book;
        withFileSizeLimit(room, [&] {
            book = FRef<FLogBookFile>(new FLogBookFile(path));
            EXPECT_FALSE(book->addText("lost"));
            EXPECT_EQ(content(), kHeader.substr(0, room));
        });
        EXPECT_TRUE(book->addText("whole"));
        const std::size_t before = content().size();
        withFileSizeLimit(before + 60, [&] {
            EXPECT_FALSE(book->addText(std::string(100, 'x')));
            EXPECT_EQ(content().size(), before + 60) << "as much as there is room for";
            EXPECT_FALSE(book->addText("no room at all"));
        });
        EXPECT_TRUE(book->addText("after"));
        EXPECT_THAT(items(), testing::MatchesRegex(kHeader + "\twhole\n\tx+\n\tafter\n"));
    }
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
    EXPECT_EQ(names(book.getLastOpErrors(1)), "ac");
    EXPECT_EQ(names(book.getLastThreadErrors(self)), "cd");
    FRef<FLogLastError> latest;
    EXPECT_TRUE(book.getLastError(latest, 2, any));
    EXPECT_EQ(latest->text3, "text");
    EXPECT_EQ(latest->result, 7);
    EXPECT_FALSE(book.getLastError(latest, 3, any));

    const auto leftWithout = [&](std::int32_t code, pthread_t thread) {
        book.clearLastError(code, thread);
        EXPECT_FALSE(book.hasLastError(code, thread));
        return names(book.getLastErrors());
    };
    EXPECT_EQ(leftWithout(3, any), "abcd");
    EXPECT_EQ(leftWithout(1, self), "abd");
    EXPECT_EQ(leftWithout(1, any), "bd");
    EXPECT_EQ(leftWithout(0, self), "b");
    EXPECT_EQ(leftWithout(0, any), "");
}

} // namespace
