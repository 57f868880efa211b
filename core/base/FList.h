#pragma once

#include <vector>

namespace Kvs {

/// The library's growing list: entries in insertion order, geometric growth.
template <class T>
using FList = std::vector<T>;

} // namespace Kvs
