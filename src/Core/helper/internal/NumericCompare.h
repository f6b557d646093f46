#pragma once
// Version strings compared the way the platform's numeric string search
// does: runs of digits compare by their value ("1.10" > "1.9", "007" ==
// "7"), everything else byte by byte.
//
// Threading: pure function.
//
//   internal::compareNumerically("1.10", "1.9") > 0

#include <string_view>

namespace Core::internal {

// Negative, 0 or positive as `a` orders before, with or after `b`.
int compareNumerically(std::string_view a, std::string_view b);

}  // namespace Core::internal
