#pragma once
// AppJunkFinderDelegate: what the application half of the junk scan tells
// the finder that drives it. Every operation comes on the main thread;
// appJunkFinderDidFinish() comes once at the end of a run that was not
// stopped, after every report. Held weakly.

#include "Core/foundation/AppFile.h"
#include "Core/junk/MacAppJunkFile.h"
#include "platform/URL.h"

#include <vector>

namespace Core {

class AppJunkFinderDelegate {
public:
    virtual ~AppJunkFinderDelegate() = default;
    virtual void appJunkFinderScanning(const platform::URL& url) = 0;
    // The fraction of the application part, 0 to 1.
    virtual void appJunkFinderProgress(double value) = 0;
    virtual void appJunkFinderFoundAppJunk(const MacAppJunkFile& file) = 0;
    virtual void appJunkFinderFoundOrphanJunk(const CaseInsensitiveString& id, const std::vector<AppFile>& files) = 0;
    virtual void appJunkFinderFoundInternetCache(const MacAppJunkFile& file) = 0;
    virtual void appJunkFinderDidFinish() = 0;
};

}  // namespace Core
