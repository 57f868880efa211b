#pragma once

#include <string_view>

namespace Kvs {

/// A piece of text that somebody else owns: pointer and length.
template <class C>
using FStrToken = std::basic_string_view<C>;

} // namespace Kvs
