#pragma once
// A macOS-like sample for the junk scan: system folders under a temporary
// root ("/Library/Caches", "/Library/Logs", "/private/var/log", ...), and a
// home below it with installed applications, a browser, the junk of an
// application that was removed, logs, a trash and a disk image. Removed
// with the object.
//
//   sweeper::JunkSample sample;
//   sample.root();   // "/tmp/sweeper-junk-XXXXXX"
//   sample.home();   // "<root>/Users/demo"

#include <nlohmann/json.hpp>

#include <string>

namespace sweeper {

struct Globals;

class JunkSample {
public:
    JunkSample();
    ~JunkSample();
    JunkSample(const JunkSample&) = delete;
    JunkSample& operator=(const JunkSample&) = delete;

    const std::string& root() const { return _root; }
    const std::string& home() const { return _home; }

private:
    void write(const std::string& path, size_t size, char fill = 'x') const;
    void app(const std::string& name, const std::string& bundleID) const;

    std::string _root;
    std::string _home;
};

// The demo's step: the junk scan over the sample, with the shipped rules,
// summarised as text or added to `out` as "junk".
void demoJunk(const Globals& g, nlohmann::json& out);

}  // namespace sweeper
