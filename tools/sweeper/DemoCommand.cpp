// sweeper demo: a short tour of the library on the shipped resources. Each
// step is a function of its own that prints its part (text) or adds it to
// the JSON document.
#include "Command.h"
#include "DemoSample.h"
#include "DupesReport.h"
#include "JunkSample.h"
#include "Output.h"

#include "Core/rules/AppFileRule.h"
#include "Core/rules/Resources.h"
#include "Core/rules/RuleManager.h"
#include "disk/OMFolderExtractor.h"
#include "platform/ByteCountFormatter.h"

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <string>

namespace sweeper {
namespace {

// The rule document deciphered and decoded, and its two compiled forests.
void demoRules(const Globals& g, nlohmann::json& out) {
    auto document = Core::decodeRuleDocument(Core::RuleManager::shippedDocumentText(), "ruleInfo.txt");
    auto summary = Core::RuleManager::summarize(document);
    size_t allNodes = Core::AppFileRule::all().nodeCount();
    size_t junkNodes = Core::AppFileRule::junk().nodeCount();
    if (g.json) {
        out["rules"] = {{"entries", summary.entries},
                        {"bundleIDs", summary.bundleIDs},
                        {"patterns", summary.patterns},
                        {"allMatchers", allNodes},
                        {"junkMatchers", junkNodes}};
        return;
    }
    std::printf("Rules: %zu entries (%zu bundle identifiers, %zu patterns)\n", summary.entries, summary.bundleIDs,
                summary.patterns);
    std::printf("  compiled matchers: %zu for application files, %zu for junk\n", allNodes, junkNodes);
}

// A sample folder the demo writes for itself and removes at the end.
class SampleFolder {
public:
    SampleFolder() {
        std::string templ = (std::filesystem::temp_directory_path() / "sweeper-demo-XXXXXX").string();
        if (::mkdtemp(templ.data()) == nullptr) throw CommandError("cannot make a sample folder");
        _root = templ;
    }
    ~SampleFolder() {
        std::error_code ec;
        std::filesystem::remove_all(_root, ec);
    }
    SampleFolder(const SampleFolder&) = delete;
    SampleFolder& operator=(const SampleFolder&) = delete;

    const std::filesystem::path& root() const { return _root; }
    void write(const std::string& relative, const std::string& content) const {
        auto path = _root / relative;
        std::filesystem::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << content;
    }
    void write(const std::string& relative, size_t size, char fill) const {
        write(relative, std::string(size, fill));
    }

private:
    std::filesystem::path _root;
};

// Disk space: the bulk reader lists every folder of a small home once (a
// hard link counts once) and the directory size sums it.
void demoDisk(const Globals& g, nlohmann::json& out) {
    SampleFolder sample;
    sample.write("Library/Caches/com.example.Notes/index.db", 48 * 1024, 'n');
    sample.write("Library/Logs/Notes/notes.log", 12 * 1024, 'l');
    sample.write("Documents/report.txt", 20 * 1024, 'r');
    sample.write("Documents/Archive/report copy.txt", 20 * 1024, 'r');
    std::filesystem::create_hard_link(sample.root() / "Documents/report.txt", sample.root() / "Documents/hard link.txt");

    struct stat st {};
    if (::stat(sample.root().c_str(), &st) != 0) throw CommandError("cannot read the sample folder");
    Core::OMFolderExtractor::setupScanContextWithDeviceNumber(st.st_dev);
    Core::OMFolderExtractor::isAlreadyPresent(st.st_ino);
    size_t folders = 0, files = 0;
    uint64_t listed = 0;
    std::deque<std::string> pending{sample.root().string()};
    while (!pending.empty()) {
        std::string folder = pending.front();
        pending.pop_front();
        Core::OMFolderExtractor::extractFolderUsingAttrListMethodWith(
            folder,
            [&](std::vector<Core::OMFolderElement> found) {
                for (const auto& element : found) pending.push_back(element.path());
                folders += found.size();
            },
            [&](std::vector<Core::OMFolderElement> found) {
                for (const auto& element : found) listed += element.size();
                files += found.size();
            },
            [] {});
    }
    int32_t error = 0;
    int64_t total = Core::GetDirectorySize(sample.root().c_str(), nullptr, &error);
    if (g.json) {
        out["disk"] = {{"folders", folders}, {"files", files}, {"listedBytes", listed}, {"directorySize", total}};
        return;
    }
    std::printf("Disk: a sample home of %zu folders and %zu files (one hard link listed once)\n", folders, files);
    std::printf("  allocated: %s listed, %s by the directory size, which counts every name of a hard link\n",
                platform::formatByteCount(static_cast<int64_t>(listed)).c_str(),
                platform::formatByteCount(total).c_str());
}

// A 1-bit picture in an uncompressed TIFF: a dithered diagonal light with a
// dark disc. `specks` pixels near the corner are flipped, and a gap put
// before the pixels, to make a near-identical copy of another size.
std::string ditheredPicture(int specks) {
    constexpr int kWidth = 96, kHeight = 72;
    static constexpr int kBayer[4][4] = {{0, 8, 2, 10}, {12, 4, 14, 6}, {3, 11, 1, 9}, {15, 7, 13, 5}};
    std::string pixels;
    for (int y = 0; y < kHeight; ++y) {
        unsigned char byte = 0;
        for (int x = 0; x < kWidth; ++x) {
            int dx = x - 60, dy = y - 30;
            int light = dx * dx + dy * dy < 400 ? 2 : (x + y) * 16 / (kWidth + kHeight);
            bool black = light <= kBayer[y % 4][x % 4];
            if (y == 0 && x < specks) black = !black;
            byte = static_cast<unsigned char>(byte << 1 | (black ? 1 : 0));
            if (x % 8 == 7) {
                pixels.push_back(static_cast<char>(byte));
                byte = 0;
            }
        }
    }
    // Little-endian throughout, whatever the host's order.
    std::string tiff = "II*";
    auto put = [&](uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) tiff.push_back(static_cast<char>(value >> (8 * i) & 0xFF));
    };
    tiff.push_back('\0');
    put(8, 4);  // the one directory follows the header
    struct Entry {
        uint16_t tag, type;  // type 3 short, 4 long
        uint32_t value;
    };
    const uint32_t gap = specks ? 16 : 0;
    const uint32_t pixelsAt = 8 + 2 + 9 * 12 + 4 + gap;
    const Entry entries[] = {{256, 3, kWidth},  {257, 3, kHeight},  {258, 3, 1},
                             {259, 3, 1},       {262, 3, 0},  // no compression; 0 is white
                             {273, 4, pixelsAt}, {277, 3, 1},       {278, 3, kHeight},
                             {279, 4, static_cast<uint32_t>(pixels.size())}};
    put(9, 2);
    for (const Entry& e : entries) {
        put(e.tag, 2);
        put(e.type, 2);
        put(1, 4);
        put(e.value, e.type == 3 ? 2 : 4);
        if (e.type == 3) put(0, 2);
    }
    put(0, 4);  // no further directory
    tiff.append(gap, '\0');
    return tiff + pixels;
}

// A duplicate search over a sample folder it writes: copies of a file,
// two identical folders, and two near-identical pictures.
void demoDuplicates(const Globals& g, nlohmann::json& out) {
    SampleFolder folder;
    const std::filesystem::path& sample = folder.root();
    auto write = [&](const std::string& name, const std::string& content) { folder.write(name, content); };
    write("Documents/report.txt", "Quarterly report: figures and notes.\n");
    write("Downloads/report (1).txt", "Quarterly report: figures and notes.\n");
    write("Desktop/report copy.txt", "Quarterly report: figures and notes.\n");
    write("Desktop/todo.txt", "Sort the pictures.\n");
    for (const char* album : {"Trip", "Trip copy"}) {
        write(std::string(album) + "/day1.txt", "Day one: the coast.\n");
        write(std::string(album) + "/day2.txt", "Day two: the hills, and rain.\n");
    }
    write("Pictures/window.tif", ditheredPicture(0));
    write("Pictures/window edited.tif", ditheredPicture(5));

    DupesOptions options;
    options.roots = {sample.string()};
    DupesResult result = searchDuplicates(options, false);
    if (g.json) {
        out["duplicates"] = dupesJson(result);
        out["duplicates"]["sampleFolder"] = sample.string();
    } else {
        std::printf("Duplicates in the sample folder %s:\n", sample.c_str());
        printDupes(result);
    }
}

// Installed applications with their files, and the leftovers of removed ones.
void demoApps(const Globals& g, nlohmann::json& out) {
    SampleFolder sample;
    demoApplications(g, out, sample.root());
}

CommandRegistration demoCommand{{"demo"}, "A short tour of the library on the shipped resources",
                                [](CLI::App&, Globals& g) -> Action {
                                    return [&g] {
                                        nlohmann::json out = nlohmann::json::object();
                                        demoRules(g, out);
                                        demoJunk(g, out);
                                        demoDisk(g, out);
                                        demoDuplicates(g, out);
                                        demoApps(g, out);
                                        if (g.json) printJson(out);
                                        return 0;
                                    };
                                }};

}  // namespace
}  // namespace sweeper
