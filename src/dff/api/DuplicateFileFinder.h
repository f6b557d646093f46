#pragma once
// Core::DuplicateFileFinder: the duplicate search for the host. start()
// runs the search on a serial queue of its own and returns at once; every
// report goes to the delegate on the main queue, in the order the engine
// made them: any number of current() and progress() calls (0.3 to 0.9;
// rises of less than a thousandth within the file stage are folded together),
// then one completion(), also after stop().
//
// Threading: start() and the settings from the main thread; stop() from
// any thread. The delegate is held weakly and is called on the main queue
// only; a report that arrives when it is gone is dropped.
//
//   auto finder = Core::DuplicateFileFinder::shared();
//   finder->delegate = myDelegate;                  // a std::shared_ptr the host keeps
//   finder->setRootFolderURLs({platform::URL::fileURL("/Users/a/Pictures", true)});
//   finder->start(false);

#include "dff/api/DFFDuplicateFileFinder.h"
#include "dff/api/Duplicate.h"
#include "platform/Dispatch.h"

#include <memory>
#include <vector>

namespace Core {

using DuplicateGroups = std::vector<std::vector<Duplicate>>;

class DuplicateFileFinderDelegate {
public:
    virtual ~DuplicateFileFinderDelegate() = default;
    virtual void current(const platform::URL& url) = 0;
    virtual void progress(double value) = 0;
    virtual void completion(const DuplicateGroups& duplicates, const DuplicateGroups& similar) = 0;
};

class DuplicateFileFinder : public dff::DFFDuplicateFileFinder,
                            public std::enable_shared_from_this<DuplicateFileFinder> {
public:
    // The one instance, made on first use.
    static std::shared_ptr<DuplicateFileFinder> shared();

    // Puts a search on a new serial queue "start(isOnlyDuplicates:)" and
    // returns at once.
    void start(bool isOnlyDuplicates);

    // Turns exported groups into records: a DFFPhoto into a photo, anything
    // else into a file.
    static DuplicateGroups records(const dff::DFFGroups& groups);

    std::weak_ptr<DuplicateFileFinderDelegate> delegate;

    void progress(double value) override;
    void current(const platform::URL& url) override;

private:
    friend std::shared_ptr<DuplicateFileFinder> makeSharedFinder();
    DuplicateFileFinder() = default;

    // Hands `report` to the delegate on the main queue, if both are still there.
    template <class Report>
    void toDelegate(Report report);

    // The last progress handed on. Touched only by progress(), on the
    // thread of a search; searches take turns on the engine, whose lock
    // orders one search's writes before the next one's.
    double _lastProgress = 0;
};

}  // namespace Core
