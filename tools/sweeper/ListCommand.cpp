// sweeper list DIR: one listing of a folder as the disk scan makes it.
#include "Command.h"
#include "Output.h"

#include "disk/OMFolderExtractor.h"

#include <cstdio>
#include <memory>

namespace sweeper {
namespace {

const char* typeName(const Core::OMFolderElement& element) {
    if (element.isSymbolicLink()) return "symlink";
    if (element.isSpecialFile()) return "special";
    return "normal";
}

int runList(const std::string& dir, bool entryByEntry, const Globals& globals) {
    struct stat st {};
    if (Core::getFileInfo(dir.c_str(), &st) != 0) throw CommandError("cannot read " + dir);
    if (!Core::isFolder(st.st_mode)) throw CommandError(dir + " is not a folder");
    Core::OMFolderExtractor::setupScanContextWithDeviceNumber(st.st_dev);
    Core::OMFolderExtractor::isAlreadyPresent(st.st_ino);

    std::vector<Core::OMFolderElement> folders, files;
    bool completed = false;
    auto onFolders = [&](std::vector<Core::OMFolderElement> found) { folders = std::move(found); };
    auto onFiles = [&](std::vector<Core::OMFolderElement> found) { files = std::move(found); };
    auto onCompletion = [&] { completed = true; };
    if (entryByEntry)
        Core::OMFolderExtractor::extractFolderWith(dir, onFolders, onFiles, onCompletion);
    else
        Core::OMFolderExtractor::extractFolderUsingAttrListMethodWith(dir, onFolders, onFiles, onCompletion);
    if (!completed) throw CommandError("the listing of " + dir + " did not complete");

    if (globals.json) {
        nlohmann::json document{{"folders", nlohmann::json::array()}, {"files", nlohmann::json::array()}};
        for (const auto& folder : folders) document["folders"].push_back({{"path", folder.path()}});
        for (const auto& file : files)
            document["files"].push_back({{"path", file.path()}, {"size", file.size()}, {"type", typeName(file)}});
        printJson(document);
        return 0;
    }
    for (const auto& folder : folders) std::printf("%-8s %14s  %s/\n", "folder", "", folder.path().c_str());
    for (const auto& file : files)
        std::printf("%-8s %14llu  %s\n", typeName(file), static_cast<unsigned long long>(file.size()),
                    file.path().c_str());
    return 0;
}

const CommandRegistration registration{
    {"list"}, "List one folder with the bulk reader: folders, then files with their allocated sizes",
    [](CLI::App& cmd, Globals& globals) -> Action {
        auto dir = std::make_shared<std::string>();
        auto entryByEntry = std::make_shared<bool>(false);
        cmd.add_option("DIR", *dir, "The folder to list")->required();
        cmd.add_flag("--entry-by-entry", *entryByEntry, "Use the readdir + fstatat method");
        return [dir, entryByEntry, &globals] { return runList(*dir, *entryByEntry, globals); };
    }};

}  // namespace
}  // namespace sweeper
