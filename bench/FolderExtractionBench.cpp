// Folder extraction against du -s on one generated tree of 500,000 files:
// GetDirectorySize, and a bulk listing of every folder of the tree, each
// timed beside `du -s` of the same tree in the same run. The tree is made in
// a temporary folder and removed at the end; the page and inode caches are
// warm for every contender alike (each runs once before it is timed).
//
//   build/release/bench/FolderExtractionBench [--files N]
#include "disk/OMFolderExtractor.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

extern char** environ;

namespace {

namespace fs = std::filesystem;

size_t fileCount = 500000;
std::string treeRoot;
double duSeconds = 0;  // mean of one du -s, measured first

// 50 top folders, 20 below each, the files spread evenly; one file in ten
// holds data, one in a hundred is a hard link and one in a hundred a link.
void generateTree() {
    char templ[] = "/tmp/core-bench-XXXXXX";
    if (::mkdtemp(templ) == nullptr) std::abort();
    treeRoot = templ;
    const size_t folders = 50 * 20;
    std::string data(3000, 'x');
    size_t made = 0;
    for (size_t top = 0; top < 50; ++top) {
        for (size_t sub = 0; sub < 20; ++sub) {
            std::string folder = treeRoot + "/t" + std::to_string(top) + "/s" + std::to_string(sub);
            fs::create_directories(folder);
            size_t here = fileCount / folders + (top * 20 + sub < fileCount % folders ? 1 : 0);
            for (size_t i = 0; i < here; ++i, ++made) {
                std::string path = folder + "/f" + std::to_string(i);
                if (made % 100 == 50 && i > 0) {
                    ::link((folder + "/f0").c_str(), path.c_str());
                } else if (made % 100 == 75) {
                    ::symlink("f0", path.c_str());
                } else {
                    int fd = ::open(path.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
                    if (made % 10 == 0) (void)!::write(fd, data.data(), data.size());
                    ::close(fd);
                }
            }
        }
    }
}

double runDu() {
    const char* argv[] = {"du", "-s", treeRoot.c_str(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    auto start = std::chrono::steady_clock::now();
    pid_t pid = -1;
    if (::posix_spawnp(&pid, "du", &actions, nullptr, const_cast<char* const*>(argv), environ) != 0) std::abort();
    int status = 0;
    ::waitpid(pid, &status, 0);
    posix_spawn_file_actions_destroy(&actions);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Every folder of the tree, listed in bulk one after another, as the disk
// scan would (on one thread here).
size_t listEveryFolder() {
    struct stat st {};
    Core::getFileInfo(treeRoot.c_str(), &st);
    Core::OMFolderExtractor::setupScanContextWithDeviceNumber(st.st_dev);
    Core::OMFolderExtractor::isAlreadyPresent(st.st_ino);
    std::vector<std::string> pending{treeRoot};
    size_t entries = 0;
    while (!pending.empty()) {
        std::string folder = std::move(pending.back());
        pending.pop_back();
        Core::OMFolderExtractor::extractFolderUsingAttrListMethodWith(
            folder,
            [&](std::vector<Core::OMFolderElement> folders) {
                entries += folders.size();
                for (auto& element : folders) pending.push_back(element.path());
            },
            [&](std::vector<Core::OMFolderElement> files) { entries += files.size(); }, nullptr);
    }
    return entries;
}

template <typename Work>
void timed(benchmark::State& state, Work work) {
    work();  // warm the caches like the others
    double total = 0;
    for (auto _ : state) {
        auto start = std::chrono::steady_clock::now();
        work();
        double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        state.SetIterationTime(seconds);
        total += seconds;
    }
    double mean = total / static_cast<double>(state.iterations());
    if (duSeconds > 0) state.counters["ratio_to_du"] = mean / duSeconds;
    state.counters["files"] = static_cast<double>(fileCount);
}

void BM_DuS(benchmark::State& state) {
    runDu();
    double total = 0;
    for (auto _ : state) {
        double seconds = runDu();
        state.SetIterationTime(seconds);
        total += seconds;
    }
    duSeconds = total / static_cast<double>(state.iterations());
    state.counters["files"] = static_cast<double>(fileCount);
}

void BM_GetDirectorySize(benchmark::State& state) {
    timed(state, [] { benchmark::DoNotOptimize(Core::GetDirectorySize(treeRoot.c_str(), nullptr, nullptr)); });
}

void BM_BulkListingOfEveryFolder(benchmark::State& state) {
    timed(state, [] { benchmark::DoNotOptimize(listEveryFolder()); });
}

BENCHMARK(BM_DuS)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_GetDirectorySize)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_BulkListingOfEveryFolder)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_DuS)->Name("BM_DuS/again")->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i + 1 < argc; ++i)
        if (std::strcmp(argv[i], "--files") == 0) fileCount = std::strtoull(argv[i + 1], nullptr, 10);
    std::vector<char*> rest;
    for (int i = 0; i < argc; ++i) {
        if (std::strcmp(argv[i], "--files") == 0) {
            ++i;
            continue;
        }
        rest.push_back(argv[i]);
    }
    int restCount = static_cast<int>(rest.size());
    benchmark::Initialize(&restCount, rest.data());
    std::fprintf(stderr, "generating %zu files...\n", fileCount);
    generateTree();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::error_code ec;
    fs::remove_all(treeRoot, ec);
    return 0;
}
