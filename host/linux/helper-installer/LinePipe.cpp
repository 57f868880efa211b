// SPDX-License-Identifier: MIT

#include "host/linux/helper-installer/LinePipe.h"

#include <cerrno>
#include <unistd.h>

namespace kvn::host {

int LinePipe::write(std::initializer_list<std::string_view> lines) const {
    std::string text;
    for (const std::string_view line : lines) {
        if (line.find('\n') != line.npos || line.size() > kMaxLine) {
            return EINVAL;
        }
        text.append(line).append("\n");
    }
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = ::write(output_.get(), text.data() + done, text.size() - done);
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        done += count < 0 ? 0 : static_cast<std::size_t>(count);
    }
    return 0;
}

std::optional<std::string> LinePipe::read(Deadline deadline, int interruption) {
    for (;;) {
        if (const std::size_t end = received_.find('\n'); end != received_.npos) {
            if (end > kMaxLine) {
                return std::nullopt;
            }
            std::string line = received_.substr(0, end);
            received_.erase(0, end + 1);
            return line;
        }
        pollfd polled[] = {{input_.get(), POLLIN, 0}, {interruption, POLLIN, 0}};
        if (received_.size() > kMaxLine || pollUntil(polled, deadline) <= 0 || polled[1].revents != 0) {
            return std::nullopt;
        }
        char chunk[1024];
        const ssize_t count = ::read(input_.get(), chunk, sizeof chunk);
        if (count == 0 || (count < 0 && errno != EINTR)) {
            return std::nullopt;
        }
        received_.append(chunk, count < 0 ? 0 : static_cast<std::size_t>(count));
    }
}

} // namespace kvn::host
