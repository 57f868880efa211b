#pragma once

namespace Kvs {

/// Reports a broken program invariant on standard output as
/// `expression - File: file - Line: line` and aborts the process when `fatal` is set.
/// Any thread.
void f_dbg_error(const char* expression, const char* file, unsigned int line, bool fatal);

/// A place to set a debugger's breakpoint; does nothing.
void f_dbg_breakpoint();

} // namespace Kvs
