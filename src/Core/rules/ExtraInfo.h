#pragma once
// ExtraInfo: what the rule document adds to an application beyond paths:
// its further bundle identifiers and its organization. Plain value.

#include "Core/foundation/CaseInsensitiveString.h"

#include <optional>
#include <vector>

namespace Core {

struct ExtraInfo {
    std::optional<std::vector<CaseInsensitiveString>> ids;
    std::optional<CaseInsensitiveString> organization;
};

}  // namespace Core
