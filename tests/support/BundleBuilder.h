#pragma once
// BundleBuilder: writes bundles for tests of the bundle readers: the
// application form ("Contents/Info.plist", "Contents/MacOS/<exe>") or the
// flat form of wrapped applications ("Info.plist" and the executable at the
// top), and the metadata list of a container folder.
//
//   testing_support::writeBundle(dir / "Notes.app", BundleContents("com.example.Notes").named("Notes"));
//   testing_support::writeBundle(dir / "Game.app/WrappedBundle", BundleContents("com.ios.game").flatForm());

#include <optional>
#include <string>
#include <utility>

namespace testing_support {

struct BundleContents {
    // Empty: no "CFBundleIdentifier".
    explicit BundleContents(std::string identifier = "") : identifier(std::move(identifier)) {}

    BundleContents& named(std::string n) { name = std::move(n); return *this; }
    // Empty: no "CFBundleExecutable" and no executable.
    BundleContents& withExecutable(std::string e) { executable = std::move(e); return *this; }
    BundleContents& executableIn(std::string folder) { executableFolder = std::move(folder); return *this; }
    BundleContents& flatForm() { flat = true; return *this; }
    BundleContents& binary() { binaryPlist = true; return *this; }

    std::string identifier;
    // "CFBundleName" when given.
    std::optional<std::string> name;
    std::string executable = "exe";
    // The folder the executable is written to, relative to "Contents" (the
    // application form) or to the bundle (the flat form), "" for that top
    // itself; by default "MacOS" in the application form and the top in
    // the flat form.
    std::optional<std::string> executableFolder;
    bool flat = false;
    bool binaryPlist = false;
};

void writeBundle(const std::string& path, const BundleContents& contents);

// "<folder>/.com.apple.containermanagerd.metadata.plist" naming `owner`
// under "MCMMetadataIdentifier".
void writeContainerMetadata(const std::string& folder, const std::string& owner);

}  // namespace testing_support
