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

TEST(FIOGFile, MovesAndMixesReadsWithWrites) {
    const TemporaryFolder folder;
    writeFile(folder.file("f"), "0123456789");
    FIOGFile file;
    ASSERT_EQ(file.open(folder.file("f").c_str(), kFileReadWrite), 0);
    std::int64_t done = 0;
    const auto read = [&](std::int64_t count) {
        char text[100];
        EXPECT_EQ(file.read(text, count, done), 0);
        return std::string(text, static_cast<std::size_t>(done));
    };
    EXPECT_TRUE(file.BOS() && !file.EOS());
    EXPECT_EQ(read(2), "01");
    EXPECT_EQ(file.write("AB", 2, done), 0);
    EXPECT_EQ(read(2), "45");
    EXPECT_EQ(file.move(-4), 0);
    EXPECT_EQ(read(100), "AB456789");
    EXPECT_TRUE(file.EOS());
    EXPECT_EQ(file.write("+", 1, done), 0);
    EXPECT_EQ(file.Size(), 11);
    EXPECT_EQ(file.moveTo(-1), EINVAL);
    EXPECT_EQ(file.Position(), 11);
    EXPECT_EQ(file.moveBegin(), 0);
    EXPECT_TRUE(file.BOS());
    EXPECT_EQ(file.moveEnd(), 0);
    EXPECT_EQ(file.Position(), 11);
    file.close();
    EXPECT_EQ(file.moveEnd(), EBADF);
    EXPECT_EQ(file.read(nullptr, 0, done), EBADF);
}

/// Asks for a file's size, asks again in the report, and destroys the file in the second one.
struct Asking {
    void ask() {
        using Report = FDelegator<Asking, void, FStream*, FResult, std::int64_t, void*>;
        EXPECT_EQ(file->SizeAsync(std::make_unique<Report>(this, &Asking::report), this), kSuccess);
    }
    void report(FStream* stream, FResult result, std::int64_t size, void* context) {
        EXPECT_TRUE(stream == file.get() && context == this);
        answers.emplace_back(result, size);
        if (result == kSuccess) {
            file->close();
            ask();
        } else {
            file.reset();
            finished = true;
        }
    }

    std::unique_ptr<FIOGFile> file = std::make_unique<FIOGFile>();
    std::vector<std::pair<FResult, std::int64_t>> answers;
    std::atomic<bool> finished = false;
};

TEST(FIOGFile, ReportsAsynchronousOperations) {
    const TemporaryFolder folder;
    writeFile(folder.file("f"), "hello");
    Asking asking;
    ASSERT_EQ(asking.file->open(folder.file("f").c_str(), kFileRead), 0);
    asking.ask();
    ASSERT_TRUE(waitUntil([&] { return asking.finished.load(); }));
    EXPECT_THAT(asking.answers, ElementsAre(std::pair(kSuccess, 5), std::pair(EBADF, -1)));
}

} // namespace
} // namespace kvn::test
