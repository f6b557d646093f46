#include "Core/apps/internal/OptionalResource.h"

#include "Core/rules/ResourceError.h"
#include "Core/rules/Resources.h"
#include "platform/Analytics.h"
#include "platform/ResourceBundle.h"

namespace Core::internal {

void logResourceProblem(const std::string& what, const std::string& consequence) {
    platform::log(what + "; " + consequence);
}

std::optional<std::string> readOptionalResource(const std::string& name, const std::string& type,
                                                const std::string& consequence) {
    auto path = platform::ResourceBundle::shared().pathForResource(name, type);
    if (!path) {
        logResourceProblem(name + "." + type + ": not found in the resources folder", consequence);
        return std::nullopt;
    }
    try {
        return readResourceFile(*path);
    } catch (const ResourceError& e) {
        logResourceProblem(e.what(), consequence);
        return std::nullopt;
    }
}

}  // namespace Core::internal
