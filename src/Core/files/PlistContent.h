#pragma once
// readPlistContent: the top-level dictionary of a property-list file (XML
// or binary), as read for Info.plist files, container metadata and launchd
// jobs.
//
// Threading: any thread.
//
//   if (auto info = Core::readPlistContent(bundle + "/Contents/Info.plist"))
//       if (auto it = info->find("CFBundleIdentifier"); it != info->end()) use(it->second);

#include "platform/PropertyList.h"

#include <map>
#include <optional>
#include <string>

namespace Core {

// Nothing when the file is missing or unreadable, when it is no property
// list, or when its top level isn't a dictionary. A key given twice keeps
// its first value.
std::optional<std::map<std::string, platform::PlistValue>> readPlistContent(const std::string& path);

}  // namespace Core
