#pragma once
// One line in the platform's log for something the search leaves out
// because it could not be read: what failed, the path and, when a call
// failed, its errno. The search still goes on without the object; the line
// is for whoever wonders why it was not compared.

#include "dff/Path.h"

#include <string_view>

namespace dff::internal {

// `errorNumber` 0 leaves the errno out (a file that was only shorter, a
// picture that did not decode).
void logFailure(std::string_view what, const Path& path, int errorNumber);

}  // namespace dff::internal
