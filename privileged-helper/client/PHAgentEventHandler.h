#pragma once

#include "host/Error.h"
#include "privileged-helper/shared/PHMessage.h"

namespace kvn {

/// Receives what a privileged helper tells by itself.
class PHAgentEventHandler {
public:
    virtual ~PHAgentEventHandler() = default;

    /// An event of the helper. Main thread.
    virtual bool processAgentEvent(const PHMessage& event) = 0;

    /// The connection ended; `error` is null when the helper closed it. Told once in a client's life, on
    /// the thread that met the end: the client's event thread, or one whose message could not be sent.
    virtual void processErrorEvent(const host::Error* error) = 0;
};

} // namespace kvn
