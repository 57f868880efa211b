// SPDX-License-Identifier: MIT

#include "core/streams/FIOGFile.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

using namespace Kvs;

TEST(FIOGFile, OpensInEachMode) {
    const struct {
        unsigned int mode;
        int onMissingFile;
        unsigned int state;
        const char* afterWrite; ///< of "XY" into a file with "abc"
    } cases[] = {
        {kFileRead, ENOENT, kStreamMayRead, "abc"},
        {kFileWrite, 0, kStreamMayWrite, "XY"},
        {kFileReadWrite, ENOENT, kStreamMayRead | kStreamMayWrite, "XYc"},
        {kFileAppend, 0, kStreamMayRead | kStreamMayWrite, "abcXY"},
        {3, EINVAL, kStreamClosed, "abc"},
    };
    for (const auto& [mode, onMissingFile, state, afterWrite] : cases) {
        SCOPED_TRACE(mode);
        const TemporaryFolder folder;
        FIOGFile file;
        EXPECT_EQ(file.open(folder.file("missing").c_str(), mode), onMissingFile);
        writeFile(folder.file("f"), "abc");
        file.open(folder.file("f").c_str(), mode);
        EXPECT_EQ(file.State(), state);
        std::int64_t done = 0;
        const bool writes = (state & kStreamMayWrite) != 0;
        EXPECT_EQ(file.write("XY", 2, done), writes ? 0 : EBADF);
        EXPECT_EQ(done, writes ? 2 : 0);
        // A clone does not empty the file.
        EXPECT_EQ(state == kStreamClosed ? -1 : file.clone()->Position(), file.Position());
        EXPECT_EQ(file.close(), state == kStreamClosed ? EBADF : 0);
        EXPECT_EQ(readFile(folder.file("f")), afterWrite);
    }
}

TEST(FIOGFile, MixesReadsWithWritesAndTellsItsSizeOnAnotherThread) {
    const TemporaryFolder folder;
    writeFile(folder.file("f"), "0123456789");
    FIOGFile file;
    ASSERT_EQ(file.open(folder.file("f").c_str(), kFileReadWrite), 0);
    std::int64_t done = 0;
    EXPECT_EQ(file.write("AB", 2, done), 0);
    char text[100] = {};
    EXPECT_EQ(file.read(text, 100, done), 0);
    EXPECT_STREQ(text, "23456789");
    EXPECT_TRUE(file.EOS());
    EXPECT_EQ(file.move(-9), 0);
    EXPECT_EQ(file.write("+", 1, done), 0);

    struct Report {
        void take(FStream* stream, FResult result, std::int64_t size, void* context) {
            EXPECT_EQ(stream, context);
            answer = {result, size};
            finished = true;
        }
        std::pair<FResult, std::int64_t> answer;
        std::atomic<bool> finished = false;
    };
    using Delegator = FDelegator<Report, void, FStream*, FResult, std::int64_t, void*>;
    for (const auto& expected : {std::pair(kSuccess, std::int64_t{10}), {EBADF, -1}}) {
        Report report;
        EXPECT_EQ(
            file.SizeAsync(std::make_unique<Delegator>(&report, &Report::take), static_cast<FStream*>(&file)),
            kSuccess);
        ASSERT_TRUE(waitUntil([&] { return report.finished.load(); }));
        EXPECT_EQ(report.answer, expected);
        file.close();
    }
    EXPECT_EQ(readFile(folder.file("f")), "A+23456789");
}

} // namespace
} // namespace kvn::test
