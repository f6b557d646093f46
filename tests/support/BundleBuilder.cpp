#include "support/BundleBuilder.h"

#include "support/TempDir.h"

#include "platform/PropertyList.h"

#include <filesystem>

namespace testing_support {

void writeBundle(const std::string& path, const BundleSpec& spec) {
    using platform::PlistValue;
    PlistValue::Dictionary entries;
    if (!spec.identifier.empty()) entries.emplace_back("CFBundleIdentifier", spec.identifier);
    if (spec.name) entries.emplace_back("CFBundleName", *spec.name);
    if (!spec.executable.empty()) entries.emplace_back("CFBundleExecutable", spec.executable);
    PlistValue info(std::move(entries));
    const std::string top = spec.flat ? path : path + "/Contents";
    writeFile(top + "/Info.plist", spec.binaryPlist ? platform::toBinaryPropertyList(info) : platform::toXmlPropertyList(info));
    if (!spec.executable.empty()) {
        const std::string relative = spec.executableFolder.value_or(spec.flat ? "" : "MacOS");
        const std::string folder = relative.empty() ? top : top + "/" + relative;
        writeFile(folder + "/" + spec.executable, "#!/bin/sh\n");
    }
    std::filesystem::create_directories(top);
}

void writeContainerMetadata(const std::string& folder, const std::string& owner) {
    using platform::PlistValue;
    PlistValue metadata(PlistValue::Dictionary{{"MCMMetadataIdentifier", owner}});
    writeFile(folder + "/.com.apple.containermanagerd.metadata.plist", platform::toBinaryPropertyList(metadata));
}

}  // namespace testing_support
