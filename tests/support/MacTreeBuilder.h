#pragma once
// MacTreeBuilder: makes a macOS-like tree for tests, benchmarks and the
// console host's sample: a root with "Applications" and "Library", and a
// home ("<root>/Users/tester") with Library/Caches, Logs, Application
// Support, Containers (with their metadata property lists) and Preferences.
// Application bundles get Contents/Info.plist and Contents/MacOS/<exe>.
//
// Without a folder the builder makes (and at the end removes) a temporary
// one. useLayout() points platform::Layout at the tree for the builder's
// life.
//
//   testing_support::MacTreeBuilder tree;
//   tree.useLayout()
//       .application("Notes", "com.example.Notes")
//       .cache("com.example.Notes", 3, 1000)
//       .preference("com.example.Notes");
//   scan(tree.home());

#include "support/TempDir.h"

#include <cstddef>
#include <memory>
#include <string>

namespace testing_support {

class MacTreeBuilder {
public:
    // A fresh temporary root, removed with the builder.
    MacTreeBuilder();
    // Builds into `root` (created if missing) and leaves it in place.
    explicit MacTreeBuilder(std::string root);
    ~MacTreeBuilder();
    MacTreeBuilder(const MacTreeBuilder&) = delete;
    MacTreeBuilder& operator=(const MacTreeBuilder&) = delete;

    const std::string& root() const { return _root; }
    const std::string& home() const { return _home; }
    // "<home>/Library/<relative>".
    std::string library(const std::string& relative = "") const;

    // Sets Layout's root and home to the tree until the builder goes.
    MacTreeBuilder& useLayout();

    // "<home>/<relative>" with `content`; parents are created.
    MacTreeBuilder& file(const std::string& relative, const std::string& content = "x");
    // "<home>/<relative>" as an empty folder.
    MacTreeBuilder& folder(const std::string& relative);
    // Library/Caches/<id>/ with `files` files of `bytes` bytes each.
    MacTreeBuilder& cache(const std::string& id, size_t files = 1, size_t bytes = 100);
    // Library/Logs/<id>/ with `files` log files of `bytes` bytes.
    MacTreeBuilder& log(const std::string& id, size_t files = 1, size_t bytes = 100);
    // Library/Application Support/<name>/ with `files` files.
    MacTreeBuilder& support(const std::string& name, size_t files = 1, size_t bytes = 100);
    // Library/Containers/<id>/ with its metadata property list naming `id`
    // and Data/Library/Caches/<id>/ inside.
    MacTreeBuilder& container(const std::string& id);
    // Library/Preferences/<id>.plist, a binary property list.
    MacTreeBuilder& preference(const std::string& id);
    // "<root>/Applications/<name>.app" (or below `folder`, a system path
    // such as "/Applications/Utilities") with Info.plist and its executable.
    MacTreeBuilder& app(const std::string& name, const std::string& bundleID,
                        const std::string& folder = "/Applications");
    // An application's whole footprint: bundle, cache, log, support folder,
    // container and preferences.
    MacTreeBuilder& application(const std::string& name, const std::string& bundleID);

private:
    std::unique_ptr<TempDir> _temp;
    std::string _root;
    std::string _home;
    std::unique_ptr<ScopedLayout> _layout;
};

}  // namespace testing_support
