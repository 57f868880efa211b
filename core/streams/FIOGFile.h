// SPDX-License-Identifier: MIT

#pragma once

#include "core/streams/FStream.h"
#include "core/threads/FThreadLock.h"

#include <cstdio>
#include <memory>
#include <string>

namespace Kvs {

/// Open modes of `FIOGFile`.
enum FFileMode : unsigned int {
    kFileRead = 2,      ///< "r"
    kFileWrite = 4,     ///< "w": makes or empties the file
    kFileReadWrite = 6, ///< "r+": the file must exist
    kFileAppend = 8,    ///< "a+": reads anywhere, writes at the end, makes a missing file
    /// Like `kFileAppend`, but for a place where others may leave files: opens only a regular file of the own
    /// user that has no other name, never through a symbolic link, and makes it accessible to this user
    /// alone.
    kFileAppendOwn = 16,
};

/// A file over the C library's `FILE`, buffered unless `setUnbuffered` says otherwise. Child processes do
/// not inherit it. Not synchronised: the component that owns it lets one thread use it at a time.
class FIOGFile final : public FStreamEx {
public:
    FIOGFile() = default;
    ~FIOGFile() override;

    /// Closes the previous file. Returns 0, the `errno` value of the failed open, EPERM for a file that is
    /// refused, or EINVAL for another mode.
    FResult open(const char* path, unsigned int mode);

    /// Makes each write one write(2), past the C library, that is done on return. Called after `open`, before
    /// any other operation; the file is then only written and asked for its size.
    void setUnbuffered();

    unsigned int State() override;
    std::int64_t Size() override;
    std::int64_t Position() override;
    bool BOS() override;
    bool EOS() override;
    FResult moveBegin() override;
    FResult moveEnd() override;
    FResult moveTo(std::int64_t offset) override;
    FResult move(std::int64_t delta) override;
    FResult read(void* buffer, std::int64_t length, std::int64_t& done) override;
    FResult write(const void* data, std::int64_t length, std::int64_t& done) override;
    FResult flush() override;
    FResult close() override;
    std::unique_ptr<FStream> clone() override;

private:
    enum class Last { nothing, reading, writing };
    struct Closer {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    FResult openWith(const std::string& path, unsigned int mode, const char* fopenMode);
    FResult seek(std::int64_t offset, int whence);
    FResult turnTo(Last direction);
    FResult failed();
    FResult writeAtOnce(const char* data, std::int64_t length, std::int64_t& done);
    template <class Call>
    FResult transfer(Last direction, std::int64_t length, std::int64_t& done, Call call);

    TFThreadSafeTransaction<FThreadPseudoLock> transaction_;
    std::unique_ptr<std::FILE, Closer> file_;
    std::string path_;
    unsigned int mode_ = 0;
    bool unbuffered_ = false;
    Last last_ = Last::nothing;
};

} // namespace Kvs
