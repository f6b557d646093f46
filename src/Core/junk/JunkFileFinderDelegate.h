#pragma once
// JunkFileFinderDelegate: what a junk scan tells its host. Every operation
// comes on the main thread. Found items come one call at a time, as each is
// measured; junkFileFinderDidFinish() comes once at the end of a run that
// was not stopped. The finder holds its delegate weakly.
//
//   struct Host : Core::JunkFileFinderDelegate {
//       void junkFileFinderFoundSystemCache(const Core::File& f) override { caches.push_back(f); }
//       void junkFileFinderDidFinish() override { done = true; }
//       ...
//   };

#include "Core/foundation/AppFile.h"
#include "Core/foundation/File.h"
#include "Core/junk/MacAppJunkFile.h"
#include "platform/URL.h"

#include <vector>

namespace Core {

class JunkFileFinderDelegate {
public:
    virtual ~JunkFileFinderDelegate() = default;
    // The location in hand and the fraction done, at most every 0.03 s.
    virtual void junkFileFinderScanning(const platform::URL& url) = 0;
    virtual void junkFileFinderProgress(double value) = 0;
    virtual void junkFileFinderFoundSystemCache(const File& file) = 0;
    virtual void junkFileFinderFoundSystemLog(const File& file) = 0;
    virtual void junkFileFinderFoundTrash(const File& file) = 0;
    // The disk image search is about to run (also when it is switched off).
    virtual void junkFileFinderWillScanDiskImages() = 0;
    // Every disk image below the home; empty when switched off.
    virtual void junkFileFinderFoundDiskImages(const std::vector<File>& files) = 0;
    virtual void junkFileFinderFoundAppJunk(const MacAppJunkFile& file) = 0;
    // Junk of an identifier with no installed application; an id may come
    // more than once.
    virtual void junkFileFinderFoundOrphanJunk(const CaseInsensitiveString& id, const std::vector<AppFile>& files) = 0;
    virtual void junkFileFinderFoundInternetCache(const MacAppJunkFile& file) = 0;
    // The purgeable space of the root volume; not sent when the system has
    // no estimate.
    virtual void junkFileFinderFoundPurgeableSpace(const File& file) = 0;
    virtual void junkFileFinderDidFinish() = 0;
};

}  // namespace Core
