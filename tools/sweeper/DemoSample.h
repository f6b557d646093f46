#pragma once
// The demo's sample machine for the application scans: a root with
// installed applications (one with a helper application folded into it,
// one in a vendor's folder, one with a privileged helper tool) and a home
// with their files and the leftovers of applications that were removed.

#include "Command.h"

#include <nlohmann/json.hpp>

#include <filesystem>

namespace sweeper {

// Writes the sample below `folder`: "<folder>/root" and "<folder>/home".
void writeApplicationSample(const std::filesystem::path& folder);

// The tour's step: writes the sample into `folder`, points the layout at it
// for the step's length, and lists the applications, their files and the
// leftovers as the host would show them.
void demoApplications(const Globals& g, nlohmann::json& out, const std::filesystem::path& folder);

}  // namespace sweeper
