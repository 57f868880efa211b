#pragma once

namespace Kvs {

/// A unit of work that a thread can run.
template <class R>
class FInvokable {
public:
    virtual R invoke() const = 0;
    virtual ~FInvokable() = default;
};

} // namespace Kvs
