// SPDX-License-Identifier: MIT

#include "core/base/Errors.h"
#include "core/logging/FLogBookFile.h"
#include "core/logging/FLoggable.h"
#include "tests/support/FakeClock.h"
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
    EXPECT_TRUE(book.add(FLogRecord() << "a\nb\tc"));
    EXPECT_TRUE(book.addText("the format's\nown break"));
    EXPECT_TRUE(book.addText(std::string(500'000, 'x')));
    EXPECT_EQ(items(),
              kHeader +
                  "\tfirst\n\n\n\t4294967295\t-5\t\tcore\tSending Message: GetStatus\n\n\ta\\nb\\tc\n"
                  "\tthe format's\nown break\n\t" +
                  std::string(500'000, 'x') + "\n");
}

TEST_F(FLogBookFileTest, TakesOnlyAFileThatNobodyElseCanHavePutThere) {
    const std::string log = folder.file("log.txt"), other = folder.file("private");
    const std::pair<const char*, std::function<bool()>> plants[] = {
        {"link", [&] { return symlink(other.c_str(), log.c_str()) == 0; }},
        {"dangling link", [&] { return symlink(folder.file("new").c_str(), log.c_str()) == 0; }},
        {"second name", [&] { return link(other.c_str(), log.c_str()) == 0; }},
        {"pipe", [&] { return mkfifo(log.c_str(), 0666) == 0; }},
        {"folder", [&] { return fs::create_directory(log); }},
        {"another user's", [&] { return writeFile(log, ""), chown(log.c_str(), 2, 2) == 0; }},
    };
    for (const auto& [name, plant] : plants) {
        writeFile(other, "private");
        fs::permissions(other, fs::perms(0640));
        if (!plant()) {
            EXPECT_NE(geteuid(), 0U) << name; // only root can do everything
            fs::remove(log);
            continue;
        }
        EXPECT_THROW(FLogBookFile{path}, FException) << name;
        EXPECT_EQ(readFile(other), "private") << name;
        EXPECT_EQ(fs::status(other).permissions(), fs::perms(0640)) << name;
        EXPECT_FALSE(fs::exists(folder.file("new"))) << name;
        fs::remove(log);
    }
    for (const char* state : {"new", "old"}) {
        FLogBookFile book(path);
        EXPECT_EQ(fs::status(log).permissions(), fs::perms(0600)) << state;
        fs::permissions(log, fs::perms(0666));
    }
}

TEST_F(FLogBookFileTest, GrowsByLessThan5MegabytesAMinuteAndCountsWhatItLeavesOut) {
    FakeClock clock;
    FLogBookFile book(path, LogLimit([&] { return clock.steadyNow(); }));
    const std::string text(1000, 'x');
    unsigned int written = 0, found = 0;
    const auto write = [&](unsigned int count) {
        for (unsigned int i = 0; i < count; ++i) {
            EXPECT_TRUE(book.addText(text));
        }
        written += count;
    };
    clock.advance(1h);
    write(1000);
    EXPECT_EQ(FGStr<char>(content()).count(text), 1000U) << "a burst after a quiet time is all there";
    for (int i = 0; i < 590; ++i) {
        clock.advance(100ms);
        write(20);
    }
    EXPECT_LT(content().size(), 5'000'000U);
    clock.advance(10s);
    write(1);

    std::istringstream lines(items());
    for (std::string line; std::getline(lines, line);) {
        unsigned int leftOut = 0;
        found += line == "\t" + text;
        if (std::sscanf(line.c_str(), "\t%u lines were left out", &leftOut) == 1) {
            found += leftOut;
        }
    }
    EXPECT_EQ(found, written);
    EXPECT_THAT(items(), HasSubstr("x\n\tToo many lines: the next ones are left out\n\t1"));
}

TEST_F(FLogBookFileTest, LogsErrorsAndKeepsThemUntilTheyAreCleared) {
    FLogBookFile book(path);
    std::thread([&] { book.setLastError(5, "openPipe", "connect", -1, "connection refused"); }).join();
    book.setLastError(5, "openPipe", "connect", -2, nullptr);
    book.setLastError(6, "a", "b", 0, "te\nxt");
    EXPECT_EQ(
        items(),
        kHeader +
            "\tSetLastError(5): [openPipe] has invoked [connect] which returned -1 - connection refused\n"
            "\tSet LastError:\t4294967295\t5\topenPipe\tconnect\t-1\tconnection refused\n"
            "\tSetLastError(5): [openPipe] has invoked [connect] which returned -2\n"
            "\tSet LastError:\t4294967295\t5\topenPipe\tconnect\t-2\t\n"
            "\tSetLastError(6): [a] has invoked [b] which returned 0 - te\\nxt\n"
            "\tSet LastError:\t4294967295\t6\ta\tb\t0\tte\\nxt\n");

    book.clearLastError(5, pthread_self());
    EXPECT_THAT(book.getLastErrors(), SizeIs(2)); // that of the other thread, and the other code
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
