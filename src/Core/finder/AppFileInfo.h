#pragma once
// AppFileInfo: a hit of the walk as a scan keeps it before sizing: the
// shared FileInfo, the role of the file and its owner. FileFinder's
// makeAppFiles turns a list of them into AppFile records.
//
// Threading: a plain value; the FileInfo it shares says what is guarded.
//
//   hits.push_back({info, kind, Core::App::macApp(Core::MacAppID::bundleID(id))});

#include "Core/finder/FileInfo.h"
#include "Core/foundation/AppFile.h"

#include <memory>

namespace Core {

struct AppFileInfo {
    std::shared_ptr<FileInfo> file;
    AppFileKind kind;
    App owner;
};

}  // namespace Core
