// SPDX-License-Identifier: MIT

#include "core/streams/FIOGFile.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Kvs {
namespace {

constexpr const char* kExistingForWriting = "r+e"; // "e" is close-on-exec

const char* fopenModeOf(unsigned int mode) {
    switch (mode) {
    case kFileRead:
        return "re";
    case kFileWrite:
        return "we";
    case kFileReadWrite:
        return kExistingForWriting;
    case kFileAppend:
    case kFileAppendOwn:
        return "a+e";
    default:
        return nullptr;
    }
}

/// Returns 0 if the open file is the user's alone, and makes sure that nobody else can open it; else an
/// `errno` value.
int claim(int file) {
    struct stat status {};
    if (::fstat(file, &status) != 0) {
        return errno;
    }
    const bool own = S_ISREG(status.st_mode) && status.st_uid == ::geteuid() && status.st_nlink == 1;
    return !own ? EPERM : ::fchmod(file, S_IRUSR | S_IWUSR) == 0 ? 0 : errno;
}

std::FILE* openOwn(const char* path) {
    // O_NONBLOCK and O_NOCTTY are for a FIFO or a terminal that somebody has put there; it is refused then.
    const int file =
        ::open(path, O_RDWR | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC,
               S_IRUSR | S_IWUSR);
    if (file < 0) {
        return nullptr;
    }
    errno = claim(file);
    std::FILE* stream = errno == 0 ? ::fdopen(file, "a+") : nullptr;
    if (!stream) {
        const int error = errno;
        ::close(file);
        errno = error;
    }
    return stream;
}

} // namespace

FIOGFile::~FIOGFile() { waitForWorker(); }

FResult FIOGFile::open(const char* path, unsigned int mode) {
    return openWith(path, mode, fopenModeOf(mode));
}

FResult FIOGFile::openWith(const std::string& path, unsigned int mode, const char* fopenMode) {
    return transaction_.perform([&]() -> FResult {
        file_.reset();
        if (!fopenMode) {
            return EINVAL;
        }
        std::unique_ptr<std::FILE, Closer> file(mode == kFileAppendOwn ? openOwn(path.c_str())
                                                                       : std::fopen(path.c_str(), fopenMode));
        if (!file) {
            return errno;
        }
        file_ = std::move(file);
        unbuffered_ = false;
        path_ = path;
        mode_ = mode;
        last_ = Last::nothing;
        return kSuccess;
    });
}

void FIOGFile::setUnbuffered() {
    std::setvbuf(file_.get(), nullptr, _IONBF, 0);
    unbuffered_ = true;
}

unsigned int FIOGFile::State() {
    return transaction_.perform([&]() -> unsigned int {
        if (!file_) {
            return kStreamClosed;
        }
        switch (mode_) {
        case kFileRead:
            return kStreamMayRead;
        case kFileWrite:
            return kStreamMayWrite;
        default:
            return kStreamMayRead | kStreamMayWrite;
        }
    });
}

std::int64_t FIOGFile::Size() {
    return transaction_.perform([&]() -> std::int64_t {
        struct stat status {};
        errno = turnTo(Last::nothing);
        return errno == 0 && ::fstat(::fileno(file_.get()), &status) == 0 ? status.st_size : -1;
    });
}

std::int64_t FIOGFile::Position() {
    return transaction_.perform([&]() -> std::int64_t {
        if (!file_) {
            errno = EBADF;
            return -1;
        }
        return ::ftello(file_.get());
    });
}

bool FIOGFile::BOS() { return Position() == 0; }
bool FIOGFile::EOS() { return Position() >= Size(); }
FResult FIOGFile::moveBegin() { return seek(0, SEEK_SET); }
FResult FIOGFile::moveEnd() { return seek(0, SEEK_END); }
FResult FIOGFile::moveTo(std::int64_t offset) { return seek(offset, SEEK_SET); }
FResult FIOGFile::move(std::int64_t delta) { return seek(delta, SEEK_CUR); }

FResult FIOGFile::seek(std::int64_t offset, int whence) {
    return transaction_.perform([&]() -> FResult {
        last_ = Last::nothing;
        return !file_ ? EBADF : ::fseeko(file_.get(), offset, whence) == 0 ? kSuccess : failed();
    });
}

FResult FIOGFile::read(void* buffer, std::int64_t length, std::int64_t& done) {
    return transfer(Last::reading, length, done, [&](std::int64_t offset, std::size_t count) {
        return std::fread(static_cast<char*>(buffer) + offset, 1, count, file_.get());
    });
}

FResult FIOGFile::write(const void* data, std::int64_t length, std::int64_t& done) {
    if (unbuffered_) {
        return writeAtOnce(static_cast<const char*>(data), length, done);
    }
    return transfer(Last::writing, length, done, [&](std::int64_t offset, std::size_t count) {
        return std::fwrite(static_cast<const char*>(data) + offset, 1, count, file_.get());
    });
}

template <class Call>
FResult FIOGFile::transfer(Last direction, std::int64_t length, std::int64_t& done, Call call) {
    done = 0;
    return transaction_.perform([&]() -> FResult {
        if (length < 0) {
            return EINVAL;
        }
        if (const FResult result = turnTo(direction); result != kSuccess) {
            return result;
        }
        for (;;) {
            done += static_cast<std::int64_t>(call(done, static_cast<std::size_t>(length - done)));
            if (done == length) {
                return kSuccess;
            }
            const bool atEnd = !std::ferror(file_.get());
            const FResult error = failed();
            if (atEnd || error != EINTR) {
                return atEnd ? kSuccess : error;
            }
        }
    });
}

FResult FIOGFile::writeAtOnce(const char* data, std::int64_t length, std::int64_t& done) {
    done = 0;
    return transaction_.perform([&]() -> FResult {
        if (!file_ || length < 0) {
            return file_ ? EINVAL : EBADF;
        }
        while (done < length) {
            const auto count =
                ::write(::fileno(file_.get()), data + done, static_cast<std::size_t>(length - done));
            if (count < 0 && errno != EINTR) {
                return errno;
            }
            done += std::max<std::int64_t>(count, 0);
        }
        return kSuccess;
    });
}

FResult FIOGFile::flush() {
    return transaction_.perform([&]() -> FResult {
        return !file_ ? EBADF : last_ != Last::writing || std::fflush(file_.get()) == 0 ? kSuccess : failed();
    });
}

FResult FIOGFile::close() {
    return transaction_.perform([&]() -> FResult {
        return !file_ ? EBADF : std::fclose(file_.release()) == 0 ? kSuccess : errno;
    });
}

std::unique_ptr<FStream> FIOGFile::clone() {
    auto copy = std::make_unique<FIOGFile>();
    // Opening for writing once more must not empty the file.
    const char* fopenMode = mode_ == kFileWrite ? kExistingForWriting : fopenModeOf(mode_);
    const std::int64_t position = Position();
    const bool made = position >= 0 && flush() == kSuccess &&
                      copy->openWith(path_, mode_, fopenMode) == kSuccess &&
                      copy->moveTo(position) == kSuccess;
    return made ? std::move(copy) : nullptr;
}

/// Returns `errno` after a call that has failed or has reached the end of the file. Clears both conditions,
/// so that they do not affect the next call; the file may have grown by then.
FResult FIOGFile::failed() {
    const FResult error = errno;
    std::clearerr(file_.get());
    return error;
}

/// Prepares the file for a read or a write. The C library needs a seek between the two; after `Last::nothing`
/// it needs none.
FResult FIOGFile::turnTo(Last direction) {
    if (!file_) {
        return EBADF;
    }
    if (last_ != direction && last_ != Last::nothing && ::fseeko(file_.get(), 0, SEEK_CUR) != 0) {
        return failed();
    }
    last_ = direction;
    return kSuccess;
}

} // namespace Kvs
