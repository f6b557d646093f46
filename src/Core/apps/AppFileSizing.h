#pragma once
// Sizing what an application scan found, off the walk: the found files by
// their FileInfo (measured once, however many applications share one), and
// an application's own bundles by the metadata index.
//
// Threading: any thread, several at once; each FileInfo's size is measured
// under its semaphore. Both block on the disk (and, for a directory the
// user can't read, on the privileged helper), so call them on a worker.
//
//   std::vector<Core::AppFile> files = Core::sizeAppFiles(Core::findAppFiles(finder, *app));
//   std::vector<Core::File> bundles = Core::sizeBundleFiles(app->urls);

#include "Core/finder/AppFileInfo.h"
#include "Core/foundation/AppFile.h"
#include "Core/foundation/File.h"

#include <vector>

namespace Core {

// AppFile records in list order: a regular file's size, a directory's
// total, 0 for what can't be read; stored in the FileInfo for the next ask.
std::vector<AppFile> sizeAppFiles(const std::vector<AppFileInfo>& files);

// File records in list order: the index's size of each bundle, or, when the
// index has none or one below 2 bytes, the bundle's total on disk.
std::vector<File> sizeBundleFiles(const std::vector<platform::URL>& bundles);

}  // namespace Core
