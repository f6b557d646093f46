#pragma once
// dff::DFFResult: the groups one search found, as exported objects. Each
// member is a DFFFile, or a DFFPhoto for a photo of a library (ask with
// dynamic_cast / std::dynamic_pointer_cast).
//
// Threading: a plain value; hand it between threads by moving it.
//
//   dff::DFFResult result = finder.find(false);
//   for (const auto& group : result.duplicateFiles) show(group);

#include "dff/api/DFFFile.h"

#include <memory>
#include <vector>

namespace dff {

using DFFGroups = std::vector<std::vector<std::shared_ptr<DFFFile>>>;

struct DFFResult {
    DFFGroups duplicateFiles;
    DFFGroups similarFiles;
};

}  // namespace dff
