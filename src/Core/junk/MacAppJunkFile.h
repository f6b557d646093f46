#pragma once
// The junk of one installed application (`MacAppJunkFile`: its first
// bundle, its identifier and its files) and of an identifier that no
// installed application has (`AppJunkFile`). The records live with the
// other application file records.
//
//   Core::MacAppJunkFile junk{bundleURL, "com.example.Notes", files};
//   for (const auto& f : junk.files) show(f.url(), f.size(), f.kind().rawValue());

#include "Core/foundation/AppFileSet.h"
