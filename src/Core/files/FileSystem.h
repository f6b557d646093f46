#pragma once
// FileSystem: the two questions the rule-driven walk asks of the disk:
// the names in a directory, and whether a path exists. The walk takes one
// through its constructor; tests pass a wrapper that counts or fails calls
// and inherits the rest.
//
// Threading: the real instance may be called from any thread; a test
// wrapper says what it allows.
//
//   struct Counting : Core::FileSystem {
//       std::vector<Core::URLResource> contents(const platform::URL& of,
//           const std::vector<Core::ResourceKey>& keys) const override { ++listings; return FileSystem::contents(of, keys); }
//       mutable int listings = 0;
//   };

#include "Core/files/FileManager.h"
#include "Core/foundation/File.h"
#include "platform/URL.h"

#include <memory>
#include <string>
#include <vector>

namespace Core {

class FileSystem {
public:
    virtual ~FileSystem() = default;

    // FileManager::contents: throws FileError when the directory can't be
    // listed.
    virtual std::vector<URLResource> contents(const platform::URL& of, const std::vector<ResourceKey>& keys) const;
    // True when something exists at `path`, following a final symbolic
    // link (a dangling link doesn't exist).
    virtual bool fileExists(const std::string& path) const;

    // The process-wide instance that asks the disk.
    static const std::shared_ptr<FileSystem>& real();
};

}  // namespace Core
