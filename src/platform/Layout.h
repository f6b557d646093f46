#pragma once
// Layout: where things are on this machine. Stands in for the platform's
// home, library, temporary and trash folder lookups, and puts every absolute
// system path of the system ("/Applications", "/Library/Caches", ...) under
// a root prefix, so that tests and the console host can run the library on
// a tree of their own.
//
// Threading: every getter may be called from any thread and returns a copy.
// Setters are meant for start-up (before the first scan) or for tests; they
// are safe to call at any time but a scan that is running may see either
// value.
//
//   auto& layout = platform::Layout::shared();
//   layout.setRoot("/tmp/sample");               // "/Applications" -> "/tmp/sample/Applications"
//   std::string apps = layout.systemPath("/Applications");

#include <mutex>
#include <string>
#include <vector>

namespace platform {

class Layout {
public:
    // The process-wide instance, built with the defaults on first use.
    static Layout& shared();

    // Defaults: root "/", home of the current user (getpwuid), temporary
    // folder "/tmp/core-<uid>/T" (its parent plays the per-user folder that
    // holds the temporary folder on the original platform).
    Layout();

    std::string root() const;
    std::string home() const;
    // The user's library folder: "<home>/Library" unless set.
    std::string userLibrary() const;
    // The machine's library folder: systemPath("/Library").
    std::string localLibrary() const;
    // The user's temporary folder, with no trailing slash.
    std::string temporaryDirectory() const;
    // The trash of the home folder (freedesktop layout: "files" and "info"
    // below it): "<home>/.local/share/Trash".
    std::string trashDirectory() const;
    // Every folder that counts as the user's trash: "<home>/.Trash" and
    // "<trashDirectory>/files".
    std::vector<std::string> trashFolders() const;
    // The socket the privileged helper tool listens on.
    std::string helperSocketPath() const;

    // An absolute system path placed under the root: "/Applications" with
    // root "/r" gives "/r/Applications". With root "/" the path is returned
    // unchanged. A relative path is returned unchanged.
    std::string systemPath(const std::string& absolutePath) const;

    void setRoot(const std::string& root);
    void setHome(const std::string& home);
    void setUserLibrary(const std::string& library);
    void setTemporaryDirectory(const std::string& tmp);
    void setHelperSocketPath(const std::string& path);

private:
    mutable std::mutex _mutex;
    std::string _root;
    std::string _home;
    std::string _userLibrary;  // empty: derived from home
    std::string _temporaryDirectory;
    std::string _helperSocketPath;  // empty: derived from root
};

// Joins two path pieces with exactly one "/" between them.
std::string joinPath(const std::string& base, const std::string& component);
// Removes trailing slashes, keeping "/" itself.
std::string trimTrailingSlashes(std::string path);

}  // namespace platform
