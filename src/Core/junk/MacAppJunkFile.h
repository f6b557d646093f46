#pragma once
// The junk of one installed application (`MacAppJunkFile`: its first
// bundle, its identifier and its files) and of an identifier that no
// installed application has (`AppJunkFile`). Plain values; they cross
// threads freely.
//
//   Core::MacAppJunkFile junk{bundleURL, "com.example.Notes", files};
//   for (const auto& f : junk.files) show(f.url(), f.size(), f.kind().rawValue());

#include "Core/foundation/AppFile.h"
#include "Core/foundation/CaseInsensitiveString.h"
#include "platform/URL.h"

#include <vector>

namespace Core {

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
