#pragma once
// Who may use the helper tool besides root: processes running one of the
// host executables named in the tool's information list. A process is
// recognised by the file it runs (device and inode of /proc/PID/exe, opened
// rather than read as a path, so a renamed or replaced file can't pass for a
// named one), and a named file counts only when it and every folder above it
// are owned by root and writable by nobody else: otherwise a user could put
// a program of their own under the trusted name.
//
// Threading: pure functions of the file system.
//
//   auto trusted = internal::trustedExecutables(internal::readAuthorizedClients(toolPath));
//   bool ok = internal::runsOneOf(peer.pid, trusted);

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace Core::internal {

struct FileIdentity {
    dev_t device = 0;
    ino_t inode = 0;
    friend bool operator==(const FileIdentity&, const FileIdentity&) = default;
};

// The identities of the named executables that pass the ownership checks;
// relative paths, links and files that fail them are left out.
std::vector<FileIdentity> trustedExecutables(const std::vector<std::string>& paths);
// The identity of what process `pid` runs; nothing when it can't be opened.
std::optional<FileIdentity> executableOf(pid_t pid);
// True when process `pid` runs one of `trusted`.
bool runsOneOf(pid_t pid, const std::vector<FileIdentity>& trusted);

}  // namespace Core::internal
