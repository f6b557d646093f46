#include "dff/internal/Failure.h"

#include "platform/Analytics.h"

#include <string>
#include <system_error>

namespace dff::internal {

void logFailure(std::string_view what, const Path& path, int errorNumber) {
    std::string line = "duplicates: ";
    line.append(what).append(": ").append(path.view());
    if (errorNumber != 0)
        line.append(": ")
            .append(std::error_code(errorNumber, std::generic_category()).message())
            .append(" (errno ")
            .append(std::to_string(errorNumber))
            .append(")");
    platform::log(line);
}

}  // namespace dff::internal
