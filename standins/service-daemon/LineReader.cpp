#include "standins/service-daemon/LineReader.h"

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace kvn::daemon {

LineReader::LineReader(host::MainLoop& loop, int descriptor,
                       std::function<void(const std::string& line)> onLine, std::function<void()> onEnd)
    : descriptor_(descriptor), onLine_(std::move(onLine)), onEnd_(std::move(onEnd)),
      watch_(loop.watchReadable(descriptor, [this] { read(); })) {}

void LineReader::read() {
    constexpr std::size_t kLongestLine = 65'536;
    char buffer[4096];
    const ssize_t count = ::read(descriptor_, buffer, sizeof buffer);
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
        return;
    }
    if (count <= 0 || unfinished_.size() > kLongestLine) {
        onEnd_();
        return;
    }
    unfinished_.append(buffer, static_cast<std::size_t>(count));
    std::size_t begin = 0;
    for (auto end = unfinished_.find('\n'); end != unfinished_.npos; end = unfinished_.find('\n', begin)) {
        onLine_(unfinished_.substr(begin, end - begin));
        begin = end + 1;
    }
    unfinished_.erase(0, begin);
}

} // namespace kvn::daemon
