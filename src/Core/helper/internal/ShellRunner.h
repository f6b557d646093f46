#pragma once
// Runs one shell command line with /bin/sh -c, standard input from
// /dev/null, for the helper's scripts and maintenance commands.
//
// Threading: any thread.
//
//   bool ok = internal::runShell("resolvectl flush-caches", [] {});

#include <functional>
#include <string>

namespace Core::internal {

// Calls `launched` once the process was started (or failed to start), then
// waits for it. True when it ran and exited with status 0.
bool runShell(const std::string& commandLine, const std::function<void()>& launched);

}  // namespace Core::internal
