#pragma once
// The file tools of deletion: ShredFile, UnlockFolder and DeleteFolder run
// a command-line tool on one path and wait for it; executeShredderJobWith
// is the runner they share; shredFile(path, complete) is the host's
// single-file shredder, which falls back to the privileged helper.
//
// The platform's tools ("/bin/rm -rfP", "/usr/bin/chflags -R noschg,nouchg",
// "/bin/rm -rf") have no equivalent with those flags on Linux. Stand-ins do
// the same job:
// - "core-rm", this project's own remover (beside the running program, or
//   in "../libexec" from it, or where setFileToolDirectory says), with the
//   same flags: -r walks folders, -f lets a missing path pass, -P overwrites
//   a regular file's data in place before unlinking it, unless other hard
//   links still show it. It never follows a link and never opens anything
//   but regular files.
// - "chattr -R -f -i" (systemPath("/usr/bin/chattr") of the Layout): clears
//   the immutable flag where the file system has one.
//
// Threading: any thread; the tool functions block until the tool exits.
// shredFile is called on the main thread and completes on it.
//
//   if (!Core::ShredFile("/tmp/secret")) ...;
//   Core::shredFile("/tmp/secret", [](bool ok) { ... });

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Core {

// True when the tool ran and exited with status 0.
bool ShredFile(const std::string& path);
bool UnlockFolder(const std::string& path);
bool DeleteFolder(const std::string& path);

// Runs `launchPath` with `arguments` and `path` last, waits for it; true on
// exit status 0. An absent path starts nothing and gives false; a tool that
// can't be launched is logged ("Error launching task: ...") and gives false.
bool executeShredderJobWith(const std::string& launchPath, const std::vector<std::string>& arguments,
                            const std::optional<std::string>& path);

// ShredFile on a global queue; when it fails, the privileged helper is
// asked to shred the path. `complete` gets the outcome on the main queue.
void shredFile(const std::string& path, std::function<void(bool success)> complete);

// Where the stand-in "core-rm" is looked for first (empty: beside the
// running program, then its "../libexec").
void setFileToolDirectory(const std::string& directory);
// The path of the stand-in remover.
std::string removerToolPath();

}  // namespace Core
