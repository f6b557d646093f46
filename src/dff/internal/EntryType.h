#pragma once
// The type of a directory entry as readdir gives it. Some Linux file systems
// leave it unknown (DT_UNKNOWN); the entry is then looked at without
// following a link, so that every walk sees the same kinds everywhere.

#include <dirent.h>

namespace dff::internal {

// DT_REG, DT_DIR, DT_LNK, another DT_ value, or DT_UNKNOWN when even the
// look-up failed.
unsigned char entryType(DIR* directory, const dirent* entry);

}  // namespace dff::internal
