#pragma once
// StartupBundle: an application bundle as the startup items need it, its
// location, identifier and name, read through the platform's bundle reader.
// Only folders that read as applications (an identifier, and an executable
// in "Contents/MacOS") give one.
//
// Threading: a plain value; read() may run on any thread.
//
//   if (auto app = Core::StartupBundle::read(platform::URL::fileURL("/Applications/Notes.app")))
//       use(app->bundleID);

#include "platform/URL.h"

#include <optional>
#include <string>

namespace Core {

struct StartupBundle {
    platform::URL url;
    std::string bundleID;
    std::string name;

    // Nothing when `url` doesn't read as an application.
    static std::optional<StartupBundle> read(const platform::URL& url);

    friend bool operator==(const StartupBundle& a, const StartupBundle& b) { return a.url == b.url; }
};

}  // namespace Core
