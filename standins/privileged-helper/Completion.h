#pragma once

#include "privileged-helper/shared/PHMessage.h"
#include "standins/privileged-helper/Options.h"

namespace kvn::helper {

/// The event that tells how a command ended, with the response to it, if there is one. Texts are cut where
/// the event would not fit into a frame otherwise. Any thread.
PHMessage completionEvent(const std::string& command, const Outcome& outcome,
                          const std::optional<PHMessage>& response);

} // namespace kvn::helper
