#include "support/BundleBuilder.h"

#include "support/TempDir.h"

#include "platform/PropertyList.h"

#include <filesystem>

namespace testing_support {

void writeBundle(const std::string& path, const BundleContents& contents) {
    using platform::PlistValue;
    PlistValue::Dictionary entries;
    if (!contents.identifier.empty()) entries.emplace_back("CFBundleIdentifier", contents.identifier);
    if (contents.name) entries.emplace_back("CFBundleName", *contents.name);
    if (!contents.executable.empty()) entries.emplace_back("CFBundleExecutable", contents.executable);
    PlistValue info(std::move(entries));
    const std::string top = contents.flat ? path : path + "/Contents";
    writeFile(top + "/Info.plist", contents.binaryPlist ? platform::toBinaryPropertyList(info) : platform::toXmlPropertyList(info));
    if (!contents.executable.empty()) {
        const std::string relative = contents.executableFolder.value_or(contents.flat ? "" : "MacOS");
        const std::string folder = relative.empty() ? top : top + "/" + relative;
        writeFile(folder + "/" + contents.executable, "#!/bin/sh\n");
    }
    std::filesystem::create_directories(top);
}

void writeContainerMetadata(const std::string& folder, const std::string& owner) {
    using platform::PlistValue;
    PlistValue metadata(PlistValue::Dictionary{{"MCMMetadataIdentifier", owner}});
    writeFile(folder + "/.com.apple.containermanagerd.metadata.plist", platform::toBinaryPropertyList(metadata));
}

}  // namespace testing_support
