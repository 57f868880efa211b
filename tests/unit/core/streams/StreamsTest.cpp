#include "core/streams/FIOGFile.h"
#include "tests/support/Test.h"

namespace kvn::test {
namespace {

using Kvs::FIOGFile;

TEST(FIOGFileTest, OpensInEachMode) {
    using namespace Kvs;
    struct Case {
        unsigned int mode;
        int onMissingFile;
        unsigned int state;
        const char* afterWrite; ///< of "XY" into a file with "abc"
    };
    const Case cases[] = {
        {kFileRead, ENOENT, kStreamMayRead, "abc"},
        {kFileWrite, 0, kStreamMayWrite, "XY"},
        {kFileReadWrite, ENOENT, kStreamMayRead | kStreamMayWrite, "XYc"},
        {kFileAppend, 0, kStreamMayRead | kStreamMayWrite, "abcXY"},
        {3, EINVAL, kStreamClosed, "abc"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.mode);
        const TemporaryFolder folder;
        FIOGFile file;
        EXPECT_EQ(file.open(folder.file("missing").c_str(), c.mode), c.onMissingFile);
        writeFile(folder.file("f"), "abc");
        file.open(folder.file("f").c_str(), c.mode);
        EXPECT_EQ(file.State(), c.state);
        std::int64_t done = 0;
        const bool writes = (c.state & kStreamMayWrite) != 0;
        EXPECT_EQ(file.write("XY", 2, done), writes ? 0 : EBADF);
        EXPECT_EQ(done, writes ? 2 : 0);
        EXPECT_EQ(file.close(), c.state == kStreamClosed ? EBADF : 0);
        EXPECT_EQ(file.State(), kStreamClosed);
        EXPECT_EQ(readFile(folder.file("f")), c.afterWrite);
    }
}

std::string readUpTo(FIOGFile& file, std::int64_t count) {
    std::string text(static_cast<std::size_t>(count), '\0');
    std::int64_t done = -1;
    EXPECT_EQ(file.read(text.data(), count, done), 0);
    return text.substr(0, static_cast<std::size_t>(done));
}

TEST(FIOGFileTest, MovesAndMixesReadsWithWrites) {
    const TemporaryFolder folder;
    writeFile(folder.file("f"), "0123456789");
    FIOGFile file;
    ASSERT_EQ(file.open(folder.file("f").c_str(), Kvs::kFileReadWrite), 0);
    EXPECT_TRUE(file.BOS() && !file.EOS());
    EXPECT_EQ(readUpTo(file, 2), "01");
    std::int64_t done = 0;
    EXPECT_EQ(file.write("AB", 2, done), 0);
    EXPECT_EQ(readUpTo(file, 2), "45");
    EXPECT_EQ(file.move(-4), 0);
    EXPECT_EQ(readUpTo(file, 100), "AB456789");
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

TEST(FIOGFileTest, ClonesWithoutEmptyingTheFile) {
    const TemporaryFolder folder;
    FIOGFile file;
    ASSERT_EQ(file.open(folder.file("f").c_str(), Kvs::kFileWrite), 0);
    std::int64_t done = 0;
    EXPECT_EQ(file.write("abc", 3, done), 0);
    const auto copy = file.clone();
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->Position(), 3);
    EXPECT_EQ(copy->moveBegin(), 0);
    EXPECT_EQ(file.Position(), 3);
    EXPECT_EQ(readFile(folder.file("f")), "abc");
}

/// Reads, and starts another operation in the report.
class AsyncReader {
public:
    explicit AsyncReader(const std::string& path) : file_(std::make_unique<FIOGFile>()) {
        EXPECT_EQ(file_->open(path.c_str(), Kvs::kFileRead), 0);
        EXPECT_EQ(file_->readAsync(buffer_, sizeof buffer_, report(&AsyncReader::read), this), 0);
    }

    bool finished() const { return finished_; }

private:
    template <class... Args>
    std::unique_ptr<Kvs::FDelegate<void, Args...>> report(void (AsyncReader::*method)(Args...)) {
        return std::make_unique<Kvs::FDelegator<AsyncReader, void, Args...>>(this, method);
    }

    void read(Kvs::FStream* stream, int result, void* buffer, std::int64_t done, void* context) {
        EXPECT_EQ(stream, file_.get());
        EXPECT_EQ(context, this);
        EXPECT_EQ(result, 0);
        EXPECT_EQ(std::string(static_cast<char*>(buffer), static_cast<std::size_t>(done)), "hello");
        file_->close();
        file_->SizeAsync(report(&AsyncReader::failed), nullptr);
    }
    void failed(Kvs::FStream*, int result, std::int64_t value, void*) {
        EXPECT_EQ(result, EBADF);
        EXPECT_EQ(value, -1);
        file_.reset(); // from inside its own report
        finished_ = true;
    }

    std::unique_ptr<FIOGFile> file_;
    char buffer_[10] = {};
    std::atomic<bool> finished_ = false;
};

TEST(FIOGFileTest, ReportsAsynchronousOperations) {
    const TemporaryFolder folder;
    writeFile(folder.file("f"), "hello");
    const AsyncReader reader(folder.file("f"));
    EXPECT_TRUE(waitUntil([&] { return reader.finished(); }));
}

} // namespace
} // namespace kvn::test
