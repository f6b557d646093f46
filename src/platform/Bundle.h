#pragma once
// Bundle: what the platform's bundle object tells of a folder: its
// identifier, its information dictionary and its executable. It reads a
// folder in one of two forms:
//   - the application form: "Contents/Info.plist" and the executable at
//     "Contents/MacOS/<CFBundleExecutable>";
//   - the flat form (wrapped applications and their plug-ins, with no
//     "Contents" folder): "Info.plist" and the executable at the top.
// The information list may be XML or binary.
//
// Threading: pure functions over the file system; any thread.
//
//   if (auto app = platform::readApplicationBundle(platform::URL::fileURL(path)))
//       use(app->identifier, app->name);

#include "platform/PropertyList.h"
#include "platform/URL.h"

#include <optional>
#include <string>

namespace platform {

struct Bundle {
    URL url;
    // The information dictionary (always a dictionary).
    PlistValue infoDictionary;
    // "CFBundleIdentifier" when it is a string.
    std::optional<std::string> identifier;
    // Where "CFBundleExecutable" names an executable that exists; nothing
    // when the key is absent, not a string, or names no file.
    std::optional<URL> executableURL;
};

// The bundle at `url`; nothing when the folder holds no readable information
// dictionary (a missing folder, no Info.plist, a list that does not parse or
// whose top level is no dictionary).
std::optional<Bundle> openBundle(const URL& url);

// A bundle read as an application: an identifier, an information dictionary
// and an executable that lies in a folder named "MacOS" (so its path has at
// least three components). `name` is "CFBundleName" when that is a string,
// else the URL's last component with its extension.
struct ApplicationBundleInfo {
    std::string identifier;
    std::string name;
};
std::optional<ApplicationBundleInfo> readApplicationBundle(const URL& url);

// The information dictionary of a single executable, as the linker embeds
// it in a section of the tool: the first XML property list in the file's
// bytes, from "<?xml" through the next "</plist>". Nothing for a folder, an
// unreadable file, a file without one, one larger than 64 MiB, or a list
// whose top level is no dictionary.
std::optional<PlistValue> embeddedInfoDictionary(const URL& url);

}  // namespace platform
