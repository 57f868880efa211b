#pragma once

namespace kvn {

/// Keeps the link "KvnRemotedTools" in the user's Applications folder to the product's tools. Made when it
/// is missing; a folder in its place is removed, a link is left alone wherever it leads.
void verifyKvnRemoteToolsLink();

} // namespace kvn
