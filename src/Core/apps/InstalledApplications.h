#pragma once
// installedApplicationURLs: the one listing of installed applications that
// the application, leftover and junk scans share. It merges the index's
// application bundles with the bundles of every registered identifier
// (those that exist), keeps, when roots are given, what lies below a root
// or is the target of an alias in "/Applications", and drops bundles inside
// hidden folders, virtual machines, frameworks and plain bundles.
//
// Paths are those on this machine: "/Applications" means
// Layout::systemPath("/Applications"), and the path tests read a path below
// the layout's root as the system path it stands for.
//
// Threading: any thread; it blocks on the registry and the disk.
//
//   auto all = Core::installedApplicationURLs();
//   auto mine = Core::installedApplicationURLs({layout.systemPath("/Applications"), layout.home()});

#include "platform/URL.h"

#include <string>
#include <vector>

namespace Core {

// In merge order: the index's listing first, then the registry's further
// bundles; each path once. `roots` are paths on this machine, compared as
// text prefixes; empty keeps every location.
std::vector<platform::URL> installedApplicationURLs(const std::vector<std::string>& roots = {});

// The real paths of the symbolic links one level down in "/Applications",
// links that lead nowhere left out.
std::vector<std::string> applicationAliasTargets();

// False for a path inside a hidden folder, a virtual machine's application
// folder, a framework or a plain bundle.
bool passesApplicationPathTest(const std::string& path);

}  // namespace Core
