#pragma once
// JunkFileFinderConfig: the nine switches of a junk scan, one per category,
// in the order the host's initialiser takes them. A plain value.
//
//   Core::JunkFileFinderConfig config{true, true, true, true, true, true, true, false, true};
//   finder->start(config);   // everything but the development environment's files

namespace Core {

struct JunkFileFinderConfig {
    bool systemCaches = false;
    bool systemLogs = false;
    bool dmgFiles = false;
    bool trashFiles = false;
    bool purgeableSpace = false;
    bool appCaches = false;
    bool appLogs = false;
    bool xcode = false;
    bool internetCaches = false;

    // True when the application part has anything to do.
    bool wantsApplicationJunk() const { return appCaches || appLogs || xcode || internetCaches; }
};

}  // namespace Core
