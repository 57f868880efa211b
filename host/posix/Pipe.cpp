#include "host/posix/Pipe.h"

#include <fcntl.h>
#include <utility>

namespace kvn::host {

std::optional<Pipe> makePipe() {
    int ends[2];
    if (::pipe(ends) != 0) {
        return std::nullopt;
    }
    const Kvs::FileDescriptor readEnd(ends[0]);
    const Kvs::FileDescriptor writeEnd(ends[1]);
    Pipe pipe{Kvs::FileDescriptor(::fcntl(ends[0], F_DUPFD_CLOEXEC, 3)),
              Kvs::FileDescriptor(::fcntl(ends[1], F_DUPFD_CLOEXEC, 3))};
    return pipe.readEnd && pipe.writeEnd ? std::optional(std::move(pipe)) : std::nullopt;
}

} // namespace kvn::host
