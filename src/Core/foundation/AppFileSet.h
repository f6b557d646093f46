#pragma once
// The records a scan returns per application: the files of one application
// group (`AppFileSet`), the junk of an installed application
// (`MacAppJunkFile`) and the junk of an identifier without one
// (`AppJunkFile`). Plain values.

#include "Core/foundation/AppFile.h"
#include "Core/foundation/File.h"

#include <vector>

namespace Core {

struct AppFileSet {
    std::vector<File> apps;      // the application bundles themselves
    std::vector<AppFile> files;  // everything that belongs to them
};

struct MacAppJunkFile {
    platform::URL appURL;
    CaseInsensitiveString bundleID;
    std::vector<AppFile> files;
};

struct AppJunkFile {
    CaseInsensitiveString id;
    std::vector<AppFile> files;
};

}  // namespace Core
