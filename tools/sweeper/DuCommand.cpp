// sweeper du PATH [--depth N] [--top N] [--svg FILE]: a disk usage scan of
// PATH (a real path, not looked up under --root), then the tree as an
// indented listing, largest first: size, share of PATH, a bar, the name.
// --json writes the whole tree instead; --svg also draws it as a treemap.
#include "Command.h"
#include "Output.h"
#include "ProgressBar.h"
#include "TreemapSvg.h"

#include "Core/disk/DiskUsageProvider.h"
#include "disk/OMFolderElement.h"
#include "platform/ByteCountFormatter.h"
#include "platform/Dispatch.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

namespace sweeper {
namespace {

struct DuOptions {
    std::string path;
    int depth = 2;
    int top = 10;
    std::string svg;
};

const char* typeName(const Core::DiskFileTreeNode& node) {
    auto type = node.fileType();
    if (!type) return "file";
    if (type->isFolder()) {
        switch (type->folderType()) {
            case Core::DiskUsageFolderType::browsable: return "folder";
            case Core::DiskUsageFolderType::bundle: return "bundle";
            case Core::DiskUsageFolderType::ignored: return "ignored";
        }
    }
    switch (type->fileType()) {
        case Core::DiskUsageFileType::symbolic: return "symlink";
        case Core::DiskUsageFileType::special: return "special";
        case Core::DiskUsageFileType::normal: break;
    }
    return "file";
}

// The tree as JSON, written piece by piece: a scan of millions of entries
// shouldn't need a second copy of the tree as a document.
void writeJson(std::FILE* out, const Core::DiskFileTreeNode& node, const std::string& path) {
    std::fprintf(out, "{\"path\":%s,\"size\":%lld,\"type\":\"%s\"", jsonString(path).c_str(),
                 static_cast<long long>(node.size()), typeName(node));
    if (node.isFolder()) {
        std::fputs(",\"children\":[", out);
        if (const auto* children = node.children()) {
            bool first = true;
            for (const auto& child : *children) {
                if (!first) std::fputc(',', out);
                first = false;
                writeJson(out, *child, path == "/" ? "/" + child->name() : path + "/" + child->name());
            }
        }
        std::fputc(']', out);
    }
    std::fputc('}', out);
}

std::vector<const Core::DiskFileTreeNode*> largestFirst(const Core::DiskFileTreeNode& node) {
    std::vector<const Core::DiskFileTreeNode*> sorted;
    if (const auto* children = node.children()) {
        sorted.reserve(children->size());
        for (const auto& child : *children) sorted.push_back(child.get());
    }
    std::stable_sort(sorted.begin(), sorted.end(), [](auto* a, auto* b) { return a->size() > b->size(); });
    return sorted;
}

void writeListing(const Core::DiskFileTreeNode& node, const std::string& label, int level, int64_t total,
                  const DuOptions& o) {
    constexpr int kBarWidth = 20;
    double share = total > 0 ? double(node.size()) / double(total) : 0.0;
    int filled = std::clamp(int(share * kBarWidth + 0.5), 0, kBarWidth);
    std::printf("%10s %5.1f%% %s%s %s%s%s\n", platform::formatByteCount(node.size()).c_str(), share * 100.0,
                std::string(size_t(filled), '#').c_str(), std::string(size_t(kBarWidth - filled), '.').c_str(),
                std::string(size_t(level) * 2, ' ').c_str(), label.c_str(), node.isFolder() ? "/" : "");
    if (level >= o.depth) return;
    auto sorted = largestFirst(node);
    size_t shown = std::min(sorted.size(), size_t(std::max(o.top, 0)));
    for (size_t i = 0; i < shown; ++i) writeListing(*sorted[i], sorted[i]->name(), level + 1, total, o);
    if (shown < sorted.size()) {
        int64_t rest = 0;
        for (size_t i = shown; i < sorted.size(); ++i) rest += sorted[i]->size();
        std::printf("%10s %5s  %s%s... %zu more\n", platform::formatByteCount(rest).c_str(), "",
                    std::string(kBarWidth, ' ').c_str(), std::string(size_t(level + 1) * 2, ' ').c_str(),
                    sorted.size() - shown);
    }
}

int runDu(const Globals& g, const DuOptions& o) {
    struct stat st {};
    if (Core::getFileInfo(o.path.c_str(), &st) != 0)
        throw CommandError("cannot read " + o.path + ": " + std::strerror(errno));
    // The scan counts a folder it can't open as empty; asked for by name,
    // it is an error.
    if (S_ISDIR(st.st_mode)) {
        int fd = ::open(o.path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0) throw CommandError("cannot read " + o.path + ": " + std::strerror(errno));
        ::close(fd);
    }

    bool showProgress = !g.quiet && !g.json;
    bool done = false;
    std::shared_ptr<Core::DiskUsageTreeNode> tree;
    auto scan = Core::getDiskUsageProvider();
    scan->setOnProgress([showProgress](int percent) {
        if (showProgress) drawProgress(percent / 100.0);
    });
    scan->setOnCompletion([&](std::shared_ptr<Core::DiskUsageTreeNode> root) {
        tree = std::move(root);
        done = true;
    });
    scan->start(o.path);
    while (!done) platform::dispatch::runMainLoopUntil([&] { return done; }, std::chrono::hours(1));
    if (showProgress) clearProgress();

    auto root = std::dynamic_pointer_cast<Core::DiskFileTreeNode>(tree);
    if (!root) throw CommandError("cannot read " + o.path);
    if (!o.svg.empty()) writeTreemapSvg(o.svg, *root, o.depth);
    if (g.json) {
        writeJson(stdout, *root, root->path());
        std::fputc('\n', stdout);
    } else {
        writeListing(*root, root->path(), 0, root->size(), o);
    }
    return 0;
}

const CommandRegistration registration{
    {"du"}, "Map the disk usage below a path as a tree",
    [](CLI::App& cmd, Globals& g) -> Action {
        auto o = std::make_shared<DuOptions>();
        cmd.add_option("PATH", o->path, "The folder (or file) to measure")->required();
        cmd.add_option("--depth", o->depth, "Levels listed (and drawn) below PATH")->check(CLI::NonNegativeNumber);
        cmd.add_option("--top", o->top, "Entries listed per folder, largest first")->check(CLI::NonNegativeNumber);
        cmd.add_option("--svg", o->svg, "Also draw the tree as a treemap into this SVG file");
        return [o, &g] { return runDu(g, *o); };
    }};

}  // namespace
}  // namespace sweeper
