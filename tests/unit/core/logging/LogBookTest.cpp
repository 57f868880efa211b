// SPDX-License-Identifier: MIT

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

    const TemporaryFolder folder;
    /// The low byte of each unit gives "log.txt".
    const FGStr<wchar_t> path = fWiden(folder.path()).append(L"/\x16C\x26F\x467.txt");
};

TEST_F(FLogBookFileTest, WritesOneLineARecordAndSeparatesRuns) {
    writeFile(folder.file("log.txt"), ""); // gets a header as a new file does
    EXPECT_TRUE(FLogBookFile(path).addText("first"));
    EXPECT_THAT(content(), testing::MatchesRegex(
                               kHeader + "[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3} "
                                         "Thread\\[[1-9a-f][0-9a-f]*\\]:\tfirst\n"));
    FLogBookFile book(path);
    EXPECT_THAT(content(), testing::EndsWith(std::string(FLoggable::getLogThreadId()) + ":\tfirst\n\n\n"));
    FLogRecord record;
    record << std::uint32_t{4294967295} << std::int32_t{-5} << static_cast<const char*>(nullptr)
           << FGStr<char>("core") << "Sending Message: GetStatus";
    EXPECT_TRUE(book.add(record));
    EXPECT_TRUE(book.add(FLogRecord()));
    EXPECT_TRUE(book.addText(std::string(1'000'000, 'x')));
    EXPECT_EQ(items(), kHeader + "\tfirst\n\n\n\t4294967295\t-5\t\tcore\tSending Message: GetStatus\n\n\t" +
                           std::string(1'000'000, 'x') + "\n");
}

TEST_F(FLogBookFileTest, LogsErrorsAndKeepsThemUntilTheyAreCleared) {
    FLogBookFile book(path);
    std::thread([&] { book.setLastError(5, "openPipe", "connect", -1, "connection refused"); }).join();
    book.setLastError(5, "openPipe", "connect", -2, nullptr);
    book.setLastError(6, "a", "b", 0, "text");
    EXPECT_EQ(
        items(),
        kHeader +
            "\tSetLastError(5): [openPipe] has invoked [connect] which returned -1 - connection refused\n"
            "\tSet LastError:\t4294967295\t5\topenPipe\tconnect\t-1\tconnection refused\n"
            "\tSetLastError(5): [openPipe] has invoked [connect] which returned -2\n"
            "\tSet LastError:\t4294967295\t5\topenPipe\tconnect\t-2\t\n"
            "\tSetLastError(6): [a] has invoked [b] which returned 0 - text\n"
            "\tSet LastError:\t4294967295\t6\ta\tb\t0\ttext\n");

    const pthread_t self = pthread_self();
    const pthread_t any{};
    FRef<FLogLastError> latest;
    ASSERT_TRUE(book.getLastError(latest, 5, any));
    EXPECT_EQ(latest->result, -2);
    EXPECT_THAT(book.getLastOpErrors(5), SizeIs(2));
    EXPECT_THAT(book.getLastThreadErrors(self), SizeIs(2));
    book.clearLastError(5, self);
    EXPECT_FALSE(book.getLastError(latest, 5, self));
    EXPECT_TRUE(book.hasLastError(5, any));
    EXPECT_THAT(book.getLastErrors(), SizeIs(2));
    book.clearLastError(0, any);
    EXPECT_THAT(book.getLastErrors(), IsEmpty());
}

/// Performs the action while files may not grow beyond a size.
void withFileSizeLimit(rlim_t bytes, const std::function<void()>& action) {
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit former{};
    getrlimit(RLIMIT_FSIZE, &former);
    const rlimit limit{bytes, former.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    action();
    setrlimit(RLIMIT_FSIZE, &former);
    std::signal(SIGXFSZ, handler);
}

TEST_F(FLogBookFileTest, CompletesALineThatAFullDiskCutBeforeTheNextOne) {
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

} // namespace
