#include "JunkSample.h"

#include "Command.h"
#include "JunkReport.h"
#include "SampleLayout.h"

#include "Core/junk/AppJunkFinder.h"
#include "Core/rules/AppFileRule.h"
#include "Core/rules/RuleManager.h"
#include "platform/Layout.h"
#include "platform/PropertyList.h"

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace sweeper {

JunkSample::JunkSample() {
    std::string templ = (std::filesystem::temp_directory_path() / "sweeper-junk-XXXXXX").string();
    if (::mkdtemp(templ.data()) == nullptr) throw CommandError("cannot make a sample folder");
    _root = templ;
    _home = _root + "/Users/demo";

    // The system's own folders.
    write(_root + "/Library/Caches/com.example.updater/download.pkg", 180 * 1024);
    write(_root + "/Library/Caches/com.example.fonts/index", 24 * 1024);
    write(_root + "/Library/Caches/ColorSync/profiles", 8 * 1024);  // never offered
    write(_root + "/Library/Logs/DiagnosticReports/Notes_2026-11-01.crash", 6 * 1024);
    write(_root + "/System/Library/Caches/com.apple.coresymbolicationd/data", 64 * 1024);
    write(_root + "/private/var/db/diagnostics/Persist/0000000000000001.tracev3", 96 * 1024);
    for (const char* log : {"system.log", "system.log0.gz", "install.log", "wifi-2.log", "daily.out"})
        write(_root + "/private/var/log/" + log, 12 * 1024);
    write(_root + "/private/var/log/Install.log", 4 * 1024);  // not a known name: case counts

    // Installed applications, one of them a browser, and their junk.
    app("Notes", "com.example.Notes");
    app("Chrome", "com.google.Chrome");
    app("Mail Helper", "com.example.MailHelper");
    write(_home + "/Library/Caches/com.example.Notes/thumbnails.db", 300 * 1024);
    write(_home + "/Library/Logs/com.example.Notes/notes.log", 20 * 1024);
    write(_home + "/Library/Caches/com.example.MailHelper/attachments/1.bin", 120 * 1024);
    write(_home + "/Library/Caches/com.google.Chrome/Cache_Data/f_000001", 512 * 1024);
    write(_home + "/Library/Caches/Google/Chrome/Default/Code Cache/js/index", 64 * 1024);
    // An application that was removed left its cache and logs behind.
    write(_home + "/Library/Caches/com.removed.PhotoTool/previews/1.jpg", 240 * 1024);
    write(_home + "/Library/Logs/com.removed.PhotoTool/run.log", 16 * 1024);

    // The trash, the freedesktop trash's items, and a disk image.
    write(_home + "/.Trash/old-project.zip", 400 * 1024);
    write(_home + "/.local/share/Trash/files/draft.txt", 2 * 1024);
    write(_home + "/.local/share/Trash/info/draft.txt.trashinfo", 64);
    std::string image = std::string(200 * 1024, 'd') + "koly" + std::string(508, '\0');
    std::filesystem::create_directories(_home + "/Downloads");
    std::ofstream(_home + "/Downloads/Installer.dmg", std::ios::binary) << image;
    write(_home + "/Downloads/notes.dmg", 4 * 1024);  // named like one, but no image
}

JunkSample::~JunkSample() {
    std::error_code ec;
    std::filesystem::remove_all(_root, ec);
}

void JunkSample::write(const std::string& path, size_t size, char fill) const {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << std::string(size, fill);
}

void JunkSample::app(const std::string& name, const std::string& bundleID) const {
    std::string contents = _root + "/Applications/" + name + ".app/Contents";
    platform::PlistValue info(platform::PlistValue::Dictionary{{"CFBundleIdentifier", bundleID},
                                                               {"CFBundleName", name},
                                                               {"CFBundleExecutable", name},
                                                               {"CFBundlePackageType", "APPL"}});
    std::filesystem::create_directories(contents + "/MacOS");
    std::ofstream(contents + "/Info.plist") << platform::toXmlPropertyList(info);
    std::ofstream(contents + "/MacOS/" + name) << "#!/bin/sh\n";
    ::chmod((contents + "/MacOS/" + name).c_str(), 0755);
}

namespace {


}  // namespace

void demoJunk(const Globals& g, nlohmann::json& out) {
    JunkSample sample;
    SampleLayout layout(sample.root(), sample.home());
    // The rules place "Lib" under the home they are compiled with, so the
    // sample gets rules of its own rather than the process-wide ones.
    Core::RuleManager rules(Core::RuleManager::shippedDocumentText(), platform::Layout::shared(), "ruleInfo.txt");
    Core::AppFileRule junkRules(rules, false);
    auto apps = std::make_shared<Core::AppJunkFinder>(junkRules);
    JunkResult result = scanJunk(JunkOptions{}, false, apps);
    if (g.json) {
        out["junk"] = junkJson(result);
        out["junk"]["sampleRoot"] = sample.root();
        return;
    }
    std::printf("Junk scan of a sample system at %s (home %s):\n", sample.root().c_str(), sample.home().c_str());
    printJunkSummary(result);
}

}  // namespace sweeper
