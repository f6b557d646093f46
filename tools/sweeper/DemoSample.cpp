#include "DemoSample.h"

#include "AppScanHost.h"
#include "SampleLayout.h"

#include "Core/rules/RuleManager.h"
#include "platform/ByteCountFormatter.h"
#include "platform/Layout.h"
#include "platform/PropertyList.h"

#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace sweeper {
namespace {

void write(const std::filesystem::path& path, const std::string& content) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

void writeApp(const std::filesystem::path& bundle, const std::string& id) {
    const std::string name = bundle.stem().string();
    platform::PlistValue info(platform::PlistValue::Dictionary{
        {"CFBundleIdentifier", id}, {"CFBundleName", name}, {"CFBundleExecutable", name}, {"CFBundlePackageType", "APPL"}});
    write(bundle / "Contents/Info.plist", platform::toXmlPropertyList(info));
    write(bundle / "Contents/MacOS" / name, "#!/bin/sh\nexit 0\n" + std::string(30 * 1024, '#'));
    ::chmod((bundle / "Contents/MacOS" / name).c_str(), 0755);
}

// The files an application leaves in the user's library.
void writeFootprint(const std::filesystem::path& library, const std::string& id, size_t kilobytes) {
    write(library / "Caches" / id / "Cache.db", std::string(kilobytes * 1024, 'c'));
    write(library / "Containers" / id / "Data/Library/Preferences" / (id + ".plist"), "<plist/>");
    write(library / "Preferences" / (id + ".plist"), "<plist/>");
}

std::string helperTool(const std::string& client) {
    return std::string("\x7f" "ELF", 4) + std::string(2048, '\0') +
           "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
           "<key>SMAuthorizedClients</key><array><string>identifier \"" +
           client + "\" and anchor apple generic</string></array></dict></plist>";
}


}  // namespace

void writeApplicationSample(const std::filesystem::path& folder) {
    const auto root = folder / "root";
    const auto home = folder / "home";
    const auto library = home / "Library";
    writeApp(root / "Applications/Notes.app", "com.example.Notes");
    writeApp(root / "Applications/Notes.app/Contents/Library/LoginItems/Notes Helper.app", "com.example.Notes.Helper");
    writeApp(root / "Applications/Notes Helper.app", "com.example.Notes.Helper");
    writeApp(root / "Applications/Acme/Paint.app", "com.acme.Paint");
    writeApp(home / "Applications/Clock.app", "org.clocks.Clock");
    write(root / "Library/PrivilegedHelperTools/com.acme.Paint.Installer", helperTool("com.acme.Paint"));
    writeFootprint(library, "com.example.Notes", 64);
    writeFootprint(library, "com.acme.Paint", 256);
    writeFootprint(library, "org.clocks.Clock", 8);
    write(library / "Application Support/Notes/notes.sqlite", std::string(120 * 1024, 'n'));
    // Removed applications: their caches, containers and preferences stay.
    writeFootprint(library, "org.gone.Tool", 512);
    write(library / "Containers/group.ABCDE12345.net.retired.Editor/Data/shared.db", std::string(40 * 1024, 'e'));
    write(library / "Preferences/net.retired.Editor.plist", "<plist/>");
    // The same vendor as an installed application: not called a leftover.
    write(library / "Preferences/com.example.Sketchbook.plist", "<plist/>");
}

void demoApplications(const Globals& g, nlohmann::json& out, const std::filesystem::path& folder) {
    writeApplicationSample(folder);
    SampleLayout layout((folder / "root").string(), (folder / "home").string());
    // The rules' paths are placed when compiled: compile them for the sample.
    Core::RuleManager manager(Core::RuleManager::shippedDocumentText(), platform::Layout::shared(), "ruleInfo.txt");
    Core::AppFileRule rule(manager, true);
    Core::AppFileFinder::prepare();
    waitUntilPrepared();
    AppScan scan(rule);
    runScan(scan);
    const auto folded = foldedApps(scan);
    runAppFiles(scan, *scan.recorder->apps);
    runLeftoversList(scan);
    const auto& ids = scan.recorder->leftoverIds;
    runLeftoverFiles(scan, std::vector<Core::CaseInsensitiveString>(ids.begin(), ids.end()));

    auto total = [](const std::vector<Core::AppFile>& files) {
        int64_t sum = 0;
        for (const auto& file : files) sum += file.size();
        return sum;
    };
    if (g.json) {
        nlohmann::json apps = nlohmann::json::object(), leftovers = nlohmann::json::object();
        for (const auto& report : scan.recorder->appFiles) {
            nlohmann::json files = nlohmann::json::array();
            for (const auto& file : report.files) files.push_back(appFileJson(file, true));
            auto sub = folded.find(report.id);
            apps[report.id.origin()] = {{"files", files},
                                        {"subApps", sub == folded.end() ? nlohmann::json::array() : nlohmann::json(sub->second)}};
        }
        for (const auto& report : scan.recorder->leftoverFiles) {
            nlohmann::json files = nlohmann::json::array();
            for (const auto& file : report.files) files.push_back(appFileJson(file, false));
            leftovers[report.id.origin()] = files;
        }
        out["applications"] = {{"sampleFolder", folder.string()}, {"apps", apps}, {"leftovers", leftovers}};
        return;
    }
    std::printf("Applications in the sample machine %s:\n", folder.c_str());
    for (const auto& report : scan.recorder->appFiles) {
        std::printf("  %s: %zu files, %s\n", report.id.origin().c_str(), report.files.size(),
                    platform::formatByteCount(total(report.files)).c_str());
        if (auto sub = folded.find(report.id); sub != folded.end())
            for (const auto& id : sub->second) std::printf("    folded in: %s\n", id.c_str());
        for (const auto& file : report.files)
            std::printf("    %-10s %8s  %s\n", file.kind().rawValue().c_str(), file.sizeString().c_str(),
                        file.url().path().c_str());
    }
    std::printf("Leftovers of removed applications:\n");
    for (const auto& report : scan.recorder->leftoverFiles) {
        std::printf("  %s: %zu files, %s\n", report.id.origin().c_str(), report.files.size(),
                    platform::formatByteCount(total(report.files)).c_str());
        for (const auto& file : report.files)
            std::printf("    %-10s %8s  %s\n", file.kind().rawValue().c_str(), file.sizeString().c_str(),
                        file.url().path().c_str());
    }
}

}  // namespace sweeper
