#pragma once
// The benchmark corpus of installed applications, shared by the file
// finder and application file finder benchmarks: a macOS-like tree with N
// applications, each with a bundle (Info.plist and executable), a cache
// folder of 200 files, 20 logs, an Application Support folder of 60 files,
// a container with its metadata property list and 40 cached blobs, and a
// preferences file; a rule document with one entry per application and the
// base rule. And a FileSystem wrapper that counts what the walk asks.

#include "Core/files/FileSystem.h"
#include "Core/rules/AppFileRule.h"
#include "Core/rules/RuleManager.h"
#include "platform/Layout.h"
#include "support/MacTreeBuilder.h"

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace bench_support {

struct CountingFileSystem : Core::FileSystem {
    mutable long listings = 0;
    mutable long existenceChecks = 0;
    mutable std::set<std::string> listedFolders;

    std::vector<Core::URLResource> contents(const platform::URL& of,
                                            const std::vector<Core::ResourceKey>& keys) const override {
        ++listings;
        listedFolders.insert(of.path());
        return FileSystem::contents(of, keys);
    }
    bool fileExists(const std::string& path) const override {
        ++existenceChecks;
        return FileSystem::fileExists(path);
    }
    void reset() {
        listings = existenceChecks = 0;
        listedFolders.clear();
    }
};

struct Corpus {
    testing_support::MacTreeBuilder tree;
    std::vector<std::string> ids;
    std::unique_ptr<Core::RuleManager> manager;
    std::unique_ptr<Core::AppFileRule> rule;
    long entries = 0;

    explicit Corpus(int applications) {
        tree.useLayout();
        std::string doc = R"("*":
  caches: {cache: ['Lib/Caches/**']}
  logs: {log: ['Lib/Logs/**']}
  support:
    support: ['Lib/Application Support/**']
    container: ['Lib/Containers/**']
    preference: ['Lib/Preferences/*(?<id>.+)\.plist']
)";
        for (int i = 0; i < applications; ++i) {
            std::string name = "App" + std::to_string(i);
            std::string id = "com.vendor" + std::to_string(i % 40) + "." + name;
            ids.push_back(id);
            tree.app(name, id)
                .cache(id, 200, 64)
                .log(id, 20, 64)
                .support(name, 60, 64)
                .container(id)
                .preference(id);
            for (int f = 0; f < 40; ++f)
                tree.file("Library/Containers/" + id + "/Data/Library/Caches/" + id + "/blob" + std::to_string(f), "x");
            entries += 5 + 200 + 1 + 20 + 1 + 60 + 1 + 1 + 5 + 40 + 1;  // bundle, folders and files
            doc += id + ":\n  caches: {cache: ['Lib/Caches/" + id + "', 'Lib/Containers/" + id +
                   "/Data/Library/Caches/" + id + "']}\n  logs: {log: ['Lib/Logs/" + id +
                   "']}\n  support:\n    support: ['Lib/Application Support/" + name +
                   "']\n    container: ['Lib/Containers/" + id + "']\n    preference: ['Lib/Preferences/" + id +
                   ".plist', 'Lib/Preferences/ByHost/*" + id + "\\..*\\.plist']\n";
        }
        manager = std::make_unique<Core::RuleManager>(doc, platform::Layout::shared(), "bench");
        rule = std::make_unique<Core::AppFileRule>(*manager, true);
    }
};

// The 300-application corpus, written once per benchmark process.
inline Corpus& corpus() {
    static Corpus instance(300);
    return instance;
}

}  // namespace bench_support
