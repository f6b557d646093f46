#pragma once
// What AppFileFinder tells its host: the applications of a scan, the files
// of each, and the leftovers of applications that are gone.
//
// Threading: each operation says where it runs. Delegates are held weakly
// and called only while the host keeps them alive.
//
//   class Host : public Core::AppFileFinderDelegate { ... };
//   finder->delegate = host;   // a std::shared_ptr<Host> the host owns

#include "Core/apps/AppBundle.h"
#include "Core/foundation/AppFile.h"
#include "Core/foundation/CaseInsensitiveString.h"
#include "Core/foundation/File.h"
#include "platform/URL.h"

#include <memory>
#include <unordered_map>
#include <vector>

namespace Core {

// The applications of a scan: bundles by bundle identifier, copies of one
// application together in the order they were found.
using AppBundleMap = std::unordered_map<CaseInsensitiveString, std::vector<std::shared_ptr<AppBundle>>>;

class AppFileFinderDelegate {
public:
    virtual ~AppFileFinderDelegate() = default;
    // Each accepted bundle, on the main thread.
    virtual void appFileFinderFoundApp(const CaseInsensitiveString& id, const platform::URL& url) = 0;
    // Each auxiliary application folded into its main one, on the scan's
    // worker thread (not the main thread), while the scan waits.
    virtual void appFileFinderFoundSubApp(const CaseInsensitiveString& id) = 0;
    // The end of the scan, folded applications removed; on the main thread.
    virtual void appFileFinderDidFinishScan(const AppBundleMap& apps) = 0;
    // One application's files and its own sized bundles, on the main thread;
    // a worker waits until this returns.
    virtual void appFileFinderFoundFiles(const CaseInsensitiveString& id, const std::vector<AppFile>& files,
                                         const std::vector<File>& bundleFiles) = 0;
    // After every application's report, on the main thread.
    virtual void appFileFinderDidFinishFiles() = 0;
};

class LeftoverFileFinderDelegate {
public:
    virtual ~LeftoverFileFinderDelegate() = default;
    // Every operation runs on the main thread.
    virtual void leftoverFinderFoundId(const std::string& id) = 0;
    virtual void leftoverFinderDidFinishList() = 0;
    virtual void leftoverFinderFoundFiles(const CaseInsensitiveString& id, const std::vector<AppFile>& files) = 0;
    virtual void leftoverFinderDidFinishFiles() = 0;
};

}  // namespace Core
