#pragma once
// The two maintenance commands that need root: flushing the DNS cache and
// rebuilding the search index, run by the privileged helper tool (on Linux
// "/usr/bin/resolvectl flush-caches" and "/usr/bin/updatedb" under the
// layout's root). Each makes its own HelperConnection, installing the tool
// if needed.
//
// Threading: call on the main thread; `complete` comes once, on the main
// queue: true when the tool ran the command and it succeeded, false for a
// failed install or connection, a lost or silent helper, or a failed command.
//
//   Core::clearDNSCache([](bool ok) { show(ok); });

#include <functional>

namespace Core {

void clearDNSCache(std::function<void(bool)> complete);
void reindexSpotlight(std::function<void(bool)> complete);

}  // namespace Core
