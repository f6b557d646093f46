#pragma once
// dff::DFFDuplicateFileFinder: the duplicate engine as an exported object.
// Settings are copied through to the one engine of the process; `find`
// runs a whole search on the calling thread and gives its groups as
// exported objects. `progress` and `current` are the points of extension:
// empty here, called on the search's thread for each report of the engine.
//
// Threading: one instance at a time in a process (it holds the process's
// one engine). `find` blocks its caller; `stop` may be called from any
// thread and makes a running `find` end early with what it found.
//
//   dff::DFFDuplicateFileFinder finder;
//   finder.setRootFolderURLs({platform::URL::fileURL("/Users/a/Pictures", true)});
//   finder.setMinFileSize(1);
//   dff::DFFResult result = finder.find(false);

#include "dff/DuplicateFileFinder.h"
#include "dff/api/DFFResult.h"

#include <string>
#include <vector>

namespace dff {

class DFFDuplicateFileFinder {
public:
    // Makes the process's engine. Throws std::logic_error when another
    // instance is alive.
    DFFDuplicateFileFinder();
    virtual ~DFFDuplicateFileFinder();
    DFFDuplicateFileFinder(const DFFDuplicateFileFinder&) = delete;
    DFFDuplicateFileFinder& operator=(const DFFDuplicateFileFinder&) = delete;

    // Settings; set them before a search, not during one.
    void setRootFolderURLs(const std::vector<platform::URL>& urls);
    const std::vector<platform::URL>& rootFolderURLs() const { return _rootFolderURLs; }
    void setExcludePaths(const std::vector<platform::URL>& urls);
    const std::vector<platform::URL>& excludePaths() const { return _excludePaths; }
    void setExcludeExtensions(const std::vector<std::string>& extensions);
    const std::vector<std::string>& excludeExtensions() const { return _excludeExtensions; }
    void setIncludeHiddenFolders(bool include);
    bool includeHiddenFolders() const;
    void setMinFileSize(long long size);
    long long minFileSize() const;
    // The most threads that read and decode at once; 0 (the default) for
    // one per processor. The results are the same for any number.
    void setThreads(unsigned threads);
    unsigned threads() const;

    // Searches the roots on this thread, then frees the engine's model.
    // Never throws for what it can't read. A second call from another
    // thread waits for the first to end.
    DFFResult find(bool onlyDuplicates);
    // Asks a running search to end; safe from any thread.
    void stop();

    // The engine's groups as exported objects: a photo of a library as a
    // DFFPhoto, anything else with a path as a DFFFile. Every group gives an
    // array, even one no member made it into.
    static DFFGroups convertResult(const DuplicateFileFinder::Groups& groups);

    // Points of extension, called on the search's thread.
    virtual void progress(double value);
    virtual void current(const platform::URL& url);

private:
    std::vector<platform::URL> _rootFolderURLs;
    std::vector<platform::URL> _excludePaths;
    std::vector<std::string> _excludeExtensions;
};

}  // namespace dff
