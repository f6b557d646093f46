#pragma once
// taskSyncRunner: runs a system tool and gives its standard output as text.
// The tool's path is an absolute system path, looked up under the layout's
// root (platform::Layout::systemPath). A tool that can't be launched gives a
// description of the failure as the result, so callers that parse the text
// simply find nothing in it.
//
// Threading: any thread; blocks until the tool has exited.
//
//   std::string uid = Core::taskSyncRunner("/usr/bin/id", {"-u"});

#include <string>
#include <vector>

namespace Core {

std::string taskSyncRunner(const std::string& command, const std::vector<std::string>& args);

}  // namespace Core
