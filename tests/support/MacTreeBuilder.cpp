#include "support/MacTreeBuilder.h"

#include "platform/PropertyList.h"

#include <sys/stat.h>

#include <filesystem>

namespace testing_support {

MacTreeBuilder::MacTreeBuilder() : _temp(std::make_unique<TempDir>()), _root(_temp->str()) {
    _home = _root + "/Users/tester";
    std::filesystem::create_directories(_home + "/Library");
    std::filesystem::create_directories(_root + "/Applications");
}

MacTreeBuilder::MacTreeBuilder(std::string root) : _root(std::move(root)) {
    _home = _root + "/Users/tester";
    std::filesystem::create_directories(_home + "/Library");
    std::filesystem::create_directories(_root + "/Applications");
}

// The layout goes back before the tree goes away.
MacTreeBuilder::~MacTreeBuilder() { _layout.reset(); }

std::string MacTreeBuilder::library(const std::string& relative) const {
    return relative.empty() ? _home + "/Library" : _home + "/Library/" + relative;
}

MacTreeBuilder& MacTreeBuilder::useLayout() {
    if (!_layout) _layout = std::make_unique<ScopedLayout>(_root, _home);
    return *this;
}

MacTreeBuilder& MacTreeBuilder::file(const std::string& relative, const std::string& content) {
    writeFile(_home + "/" + relative, content);
    return *this;
}

MacTreeBuilder& MacTreeBuilder::folder(const std::string& relative) {
    std::filesystem::create_directories(_home + "/" + relative);
    return *this;
}

namespace {

void filesIn(const std::string& folder, const std::string& stem, size_t files, size_t bytes) {
    std::filesystem::create_directories(folder);
    for (size_t i = 0; i < files; ++i) writeFileOfSize(folder + "/" + stem + std::to_string(i), bytes);
}

}  // namespace

MacTreeBuilder& MacTreeBuilder::cache(const std::string& id, size_t files, size_t bytes) {
    filesIn(library("Caches/" + id), "cache.db.", files, bytes);
    return *this;
}

MacTreeBuilder& MacTreeBuilder::log(const std::string& id, size_t files, size_t bytes) {
    filesIn(library("Logs/" + id), "log.", files, bytes);
    return *this;
}

MacTreeBuilder& MacTreeBuilder::support(const std::string& name, size_t files, size_t bytes) {
    filesIn(library("Application Support/" + name), "data.", files, bytes);
    return *this;
}

MacTreeBuilder& MacTreeBuilder::container(const std::string& id) {
    using platform::PlistValue;
    std::string folder = library("Containers/" + id);
    PlistValue metadata(PlistValue::Dictionary{{"MCMMetadataIdentifier", id}});
    writeFile(folder + "/.com.apple.containermanagerd.metadata.plist", platform::toBinaryPropertyList(metadata));
    std::filesystem::create_directories(folder + "/Data/Library/Caches/" + id);
    return *this;
}

MacTreeBuilder& MacTreeBuilder::preference(const std::string& id) {
    using platform::PlistValue;
    PlistValue prefs(PlistValue::Dictionary{{"NSWindowFrame", "0 0 800 600"}, {"LaunchCount", int64_t{3}}});
    writeFile(library("Preferences/" + id + ".plist"), platform::toBinaryPropertyList(prefs));
    return *this;
}

MacTreeBuilder& MacTreeBuilder::app(const std::string& name, const std::string& bundleID, const std::string& folder) {
    using platform::PlistValue;
    std::string bundle = _root + folder + "/" + name + ".app";
    PlistValue info(PlistValue::Dictionary{{"CFBundleIdentifier", bundleID},
                                           {"CFBundleName", name},
                                           {"CFBundleExecutable", name},
                                           {"CFBundlePackageType", "APPL"},
                                           {"CFBundleShortVersionString", "1.0"}});
    writeFile(bundle + "/Contents/Info.plist", platform::toXmlPropertyList(info));
    std::string exe = bundle + "/Contents/MacOS/" + name;
    writeFile(exe, "#!/bin/sh\nexit 0\n");
    ::chmod(exe.c_str(), 0755);
    return *this;
}

MacTreeBuilder& MacTreeBuilder::application(const std::string& name, const std::string& bundleID) {
    return app(name, bundleID).cache(bundleID).log(bundleID).support(name).container(bundleID).preference(bundleID);
}

}  // namespace testing_support
