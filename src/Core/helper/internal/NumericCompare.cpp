#include "Core/helper/internal/NumericCompare.h"

namespace Core::internal {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The digit run at `at`, without leading zeros; `at` moves past the run.
std::string_view digitRun(std::string_view text, size_t& at) {
    size_t start = at;
    while (at < text.size() && isDigit(text[at])) ++at;
    std::string_view run = text.substr(start, at - start);
    while (run.size() > 1 && run.front() == '0') run.remove_prefix(1);
    return run;
}

}  // namespace

int compareNumerically(std::string_view a, std::string_view b) {
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            std::string_view x = digitRun(a, i);
            std::string_view y = digitRun(b, j);
            // Without leading zeros, a longer run is a larger number.
            if (x.size() != y.size()) return x.size() < y.size() ? -1 : 1;
            if (int order = x.compare(y); order != 0) return order < 0 ? -1 : 1;
            continue;
        }
        auto ca = static_cast<unsigned char>(a[i]), cb = static_cast<unsigned char>(b[j]);
        if (ca != cb) return ca < cb ? -1 : 1;
        ++i;
        ++j;
    }
    if (i < a.size()) return 1;
    if (j < b.size()) return -1;
    return 0;
}

}  // namespace Core::internal
