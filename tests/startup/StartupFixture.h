#pragma once
// The startup suites' common ground: a macOS-like tree set as the layout,
// fake launchd tools in it, a log that the test can read, and helpers that
// write launchd property lists and applications with login items.

#include "FakeLaunchTools.h"
#include "support/LogLines.h"
#include "support/MacTreeBuilder.h"

#include "platform/PropertyList.h"
#include "startup/ItemsStatusManager.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace testing_support {

class StartupTest : public testing::Test {
protected:
    StartupTest() : tools(tree.root()) { tree.useLayout(); }

    // "<folder>/<name>" as a launchd property list; without a label the
    // list has none.
    std::string launchPlist(const std::string& folder, const std::string& name, const std::string& label,
                            platform::PlistValue::Dictionary extra = {}) {
        if (!label.empty()) extra.emplace_back("Label", label);
        extra.emplace_back("ProgramArguments", platform::PlistValue::Array{"/usr/bin/true"});
        const std::string path = folder + "/" + name;
        writeFile(path, platform::toXmlPropertyList(platform::PlistValue(std::move(extra))));
        return path;
    }
    std::string globalAgents() const { return tree.root() + "/Library/LaunchAgents"; }
    std::string globalDaemons() const { return tree.root() + "/Library/LaunchDaemons"; }
    std::string userAgents() const { return tree.home() + "/Library/LaunchAgents"; }

    // "<root>/Applications/<name>.app".
    std::string app(const std::string& name, const std::string& bundleID) {
        tree.app(name, bundleID);
        return tree.root() + "/Applications/" + name + ".app";
    }
    // "<app>/Contents/Library/LoginItems/<name>.app".
    std::string loginItem(const std::string& appPath, const std::string& name, const std::string& bundleID) {
        const std::string folder = appPath.substr(tree.root().size()) + "/Contents/Library/LoginItems";
        tree.app(name, bundleID, folder);
        return appPath + "/Contents/Library/LoginItems/" + name + ".app";
    }
    // Writes the session login items list with these entries (URL texts).
    void writeLoginItemsList(const std::vector<std::string>& urlStrings) {
        platform::PlistValue::Array entries;
        for (const auto& text : urlStrings) entries.emplace_back(text);
        writeFile(loginItemsListPath(), platform::toXmlPropertyList(platform::PlistValue(std::move(entries))));
    }
    std::string loginItemsListPath() const { return tree.home() + "/Library/Preferences/loginitems.plist"; }

    void refreshStatus() { Core::ItemsStatusManager::shared().refresh(); }

    MacTreeBuilder tree;
    FakeLaunchTools tools;
};

}  // namespace testing_support
