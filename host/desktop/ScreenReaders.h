// SPDX-License-Identifier: MIT

#pragma once

namespace kvn::host {

/// Has the toolkit show the windows to screen readers, those that are open already included. From now on the
/// toolkit itself uses the session bus and the bus of accessible objects. Main thread.
void showToScreenReaders();

} // namespace kvn::host
