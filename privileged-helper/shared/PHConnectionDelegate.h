#pragma once

#include "host/Error.h"

namespace kvn {

class PHProtocolHandler;

/// Told of the end of a connection, on the thread that met it. The connection is closed by then.
class PHConnectionDelegate {
public:
    virtual ~PHConnectionDelegate() = default;

    /// `error` has the domain "IO" and an errno value or a code of this layer, or the domain "PH".
    virtual void connctionFailedWithError(PHProtocolHandler& handler, const host::Error& error) = 0;

    /// The peer closed the connection.
    virtual void connectionClosed(PHProtocolHandler& handler) = 0;
};

} // namespace kvn
