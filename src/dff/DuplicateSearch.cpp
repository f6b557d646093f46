// The stages of DuplicateFileFinder::find. The walk is in DuplicateFileFinder.cpp.

#include "dff/DuplicateFileFinder.h"

#include "dff/FileReader.h"
#include "dff/MD5.h"
#include "dff/PackageHasher.h"
#include "dff/SymlinkHasher.h"
#include "dff/image/ImageFiles.h"
#include "dff/image/ImageHash.h"
#include "dff/internal/DistinctRoots.h"
#include "dff/internal/Failure.h"
#include "dff/internal/ParallelEach.h"
#include "platform/Dispatch.h"

#include <strings.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <stdexcept>
#include <typeinfo>
#include <utility>
#include <vector>

namespace dff {

namespace {

constexpr const char kLibrarySuffix[] = ".photosLibrary";
constexpr size_t kLibrarySuffixLength = sizeof kLibrarySuffix - 1;

bool isPhotoLibraryPath(const Path& path) {
    return path.length() > kLibrarySuffixLength &&
           ::strncasecmp(path.cStr() + path.length() - kLibrarySuffixLength, kLibrarySuffix, kLibrarySuffixLength) ==
               0;
}

// One file under comparison: where its reading stands and its digest so far.
// Made when the file's group is first read: groups of every size wait to be
// read at once, and most files of a search may be in them.
struct FileComparison {
    explicit FileComparison(File* file) : file(file), reader(file) {}
    File* file;
    FileReader reader;
    FileHasher hasher;
};

// Objects of one group that agree so far; the group owns their state.
template <class Item>
using Candidates = std::vector<std::unique_ptr<Item>>;
// Groups still to compare, used from the back: a group is compared pass by
// pass until it has split into loners or its members are complete, and the
// groups split off a pass go on top.
template <class Item>
using WorkList = std::vector<Candidates<Item>>;
// A pass: the members of a group still incomplete, as their places in the
// group, under their digest so far.
using Pass = Duplicate<HashValue, size_t>;

// Walks an index from the root with a stack of its own, so the caller may
// consume each node's values as it goes.
template <class K, class V, class Visit>
void walkNodes(Duplicate<K, V>& index, const std::atomic<bool>& stopped, Visit visit) {
    if (index.root == nullptr) return;
    std::vector<typename Duplicate<K, V>::Node*> stack{index.root};
    while (!stack.empty()) {
        if (stopped) return;
        auto* node = stack.back();
        stack.pop_back();
        visit(*node);
        if (node->left) stack.push_back(node->left);
        if (node->right) stack.push_back(node->right);
    }
}

File& objectOf(FileComparison& item) { return *item.file; }
Package& objectOf(PackageHasher& item) { return *item.package; }

// Splits `group` by the digests of its pass: a member alone under its digest
// is unlike all others and goes to `loner` (its state is freed with the
// group); members that still agree move into a new group on top of `work`.
// After a stop, the members of nodes not visited count as unproven.
template <class Item, class Loner>
void regroup(Pass& pass, Candidates<Item>& group, WorkList<Item>& work, const std::atomic<bool>& stopped,
             Loner loner) {
    walkNodes(pass, stopped, [&](Pass::Node& node) {
        if (node.values.size() == 1) {
            loner(*group[node.values.front()]);
        } else {
            Candidates<Item>& next = work.emplace_back();
            next.reserve(node.values.size());
            for (size_t member : node.values) next.push_back(std::move(group[member]));
        }
        node.values.clear();
    });
    walkNodes(pass, std::atomic<bool>(false), [&](Pass::Node& node) {
        for (size_t member : node.values) objectOf(*group[member]).unique = true;
        node.values.clear();
    });
}

// Marks `unique` the object of every node that holds one value: it has no twin.
template <class K, class T>
void markLoners(Duplicate<K, T*>& index) {
    for (auto node = index.begin(); node != index.end(); ++node)
        if (node->values.size() == 1) node->values.front()->unique = true;
}

// Keeps one name of each file in every group of equal objects, the first
// seen: two names of one file (hard links, a folder reached two ways) hold
// a single copy, and deleting "the other" would delete it. The later names
// take no part, so the folders holding them are no copies either; so does a
// name that can no longer be looked at, as it can't be told apart.
template <class T>
void oneNamePerFile(Duplicate<HashValue, T*>& index) {
    for (auto node = index.begin(); node != index.end(); ++node) {
        if (node->values.size() < 2) continue;
        std::set<std::pair<dev_t, ino_t>> seen;
        size_t kept = 0;
        for (T* item : node->values) {
            struct stat st {};
            if (::lstat(item->path.cStr(), &st) != 0 || !seen.emplace(st.st_dev, st.st_ino).second) {
                item->unique = true;
                continue;
            }
            node->values[kept++] = item;
        }
        node->values.truncate(kept);
    }
}

// The file stage: reads the files of each size in passes, comparing digests
// after each.
//
// Groups of one size never share a file, so they are compared on all cores,
// each by one thread from start to end. What became of each member is noted
// in its group's slot and applied afterwards in the order one thread would
// have taken, so the results do not depend on the interleaving.
class FileStage {
public:
    FileStage(DuplicateFileFinder& finder, std::vector<File*>* pictures, Duplicate<HashValue, File*>& fileHashes,
              double step)
        : _finder(finder), _pictures(pictures), _fileHashes(fileHashes), _step(step) {}

    void run(Duplicate<long long, File*>& filesBySize) {
        if (_finder.stopped) return;
        // Files alone of their size are never read; the others make a group,
        // whose reading state is made when it is first read.
        std::vector<const Duplicate<long long, File*>::Values*> unread;
        for (auto it = filesBySize.begin(); it != filesBySize.end(); ++it) {
            if (it->values.size() > 1) {
                unread.push_back(&it->values);
                continue;
            }
            if (_finder.stopped) return;
            setAside(*it->values.front());
            raise(true);
        }
        // Largest size first.
        std::reverse(unread.begin(), unread.end());

        Verdicts verdicts(unread);
        unsigned threads = internal::parallelThreadsFor(unread.size(), _finder.threads);
        std::vector<FileReader::ReadBuffers> buffers(threads);
        internal::forEachInParallel(unread.size(), threads, _finder.stopped, [&](size_t i, internal::Worker worker) {
            GroupVerdicts group = verdicts.of(i);
            compareGroup(*unread[i], buffers[worker.index], worker.onCaller(), group);
        });
        // Complete members and those set aside change different things, so
        // only the order within each kind matters.
        for (size_t i = 0; i < unread.size(); ++i) {
            GroupVerdicts group = verdicts.of(i);
            for (File* file : group.complete()) _fileHashes.add(file->hash, file);
            for (auto file = group.setAside().rbegin(); file != group.setAside().rend(); ++file) setAside(**file);
        }
    }

private:
    // The members of one group that are done with: complete (their digest
    // covers the whole file) from the front of its slots, in the order
    // decided; set aside (loners, unreadable) from the back, so that
    // reading them backwards gives the order decided. Each member is done
    // with at most once, so the slots never overlap.
    class GroupVerdicts {
    public:
        GroupVerdicts(File** slots, uint32_t size, uint32_t* counts) : _slots(slots), _size(size), _counts(counts) {}
        void markComplete(File* file) { _slots[_counts[0]++] = file; }
        void markSetAside(File* file) { _slots[_size - ++_counts[1]] = file; }
        std::span<File*> complete() const { return {_slots, _counts[0]}; }
        std::span<File*> setAside() const { return {_slots + _size - _counts[1], _counts[1]}; }

    private:
        File** _slots;
        uint32_t _size;
        uint32_t* _counts;  // complete, set aside
    };

    // The verdicts of every group in one array of a slot per member: a
    // search may hold thousands of small groups, and a list each would cost
    // more in headers and spare room than the verdicts themselves.
    class Verdicts {
    public:
        explicit Verdicts(const std::vector<const Duplicate<long long, File*>::Values*>& groups)
            : _offsets(groups.size() + 1), _counts(groups.size() * 2, 0) {
            for (size_t i = 0; i < groups.size(); ++i) _offsets[i + 1] = _offsets[i] + groups[i]->size();
            _slots = std::make_unique_for_overwrite<File*[]>(_offsets.back());
        }
        GroupVerdicts of(size_t group) {
            return {_slots.get() + _offsets[group], uint32_t(_offsets[group + 1] - _offsets[group]), &_counts[group * 2]};
        }

    private:
        std::vector<size_t> _offsets;
        std::vector<uint32_t> _counts;
        std::unique_ptr<File*[]> _slots;
    };

    // Compares one group of equal size pass by pass until it has split into
    // loners or its members are complete. `onCaller` says whether progress
    // and paths may be reported from here.
    void compareGroup(const Duplicate<long long, File*>::Values& files, FileReader::ReadBuffers& buffers, bool onCaller,
                      GroupVerdicts& verdicts) {
        WorkList<FileComparison> work;
        Candidates<FileComparison>& first = work.emplace_back();
        first.reserve(files.size());
        for (File* file : files) first.push_back(std::make_unique<FileComparison>(file));
        while (!work.empty()) {
            Candidates<FileComparison> group = std::move(work.back());
            work.pop_back();
            Pass pass;
            if (!readPass(group, pass, buffers, onCaller, verdicts)) return;
            regroup(pass, group, work, _finder.stopped,
                    [&verdicts](FileComparison& loner) { verdicts.markSetAside(loner.file); });
        }
    }

    // A file without a twin, or that can't be read: unique, and compared as
    // a picture later if its name says it is one; its bytes are looked at
    // only then.
    void setAside(File& file) {
        if (_pictures != nullptr && file.path.length() != 0 && hasPictureName(file.path)) _pictures->push_back(&file);
        file.unique = true;
    }

    // Counts one more file looked at; only the search's own thread tells.
    void raise(bool onCaller) {
        long long steps = _steps.fetch_add(1, std::memory_order_relaxed) + 1;
        if (onCaller) _finder.onProgress(std::min(kStart + double(steps) * _step, kEnd));
    }

    // One pass over `group`: complete members and unreadable ones go to
    // `verdicts`, those with bytes left to `pass`. Members are read a few at
    // a time, in step, and their digests fed side by side; what happens to
    // each is decided in the group's order. False after a stop.
    bool readPass(Candidates<FileComparison>& group, Pass& pass, FileReader::ReadBuffers& buffers, bool onCaller,
                  GroupVerdicts& verdicts) {
        for (size_t start = 0; start < group.size();) {
            size_t room = std::min(FileReader::kMaxTogether, group.size() - start);
            size_t count = 0;
            bool stopping = false;
            FileReader* readers[FileReader::kMaxTogether];
            MD5* states[FileReader::kMaxTogether];
            for (; count < room; ++count) {
                if ((stopping = _finder.stopped)) break;
                FileComparison& member = *group[start + count];
                if (onCaller) _finder.notifyCurrentPath(member.file->path);
                raise(onCaller);
                readers[count] = &member.reader;
                states[count] = &member.hasher.md5;
            }
            FileReader::Outcome outcomes[FileReader::kMaxTogether];
            FileReader::readTogether(buffers, readers, count, outcomes,
                                     [&](const unsigned char* const* data, const size_t* lengths) {
                                         MD5::updateTogether(states, data, lengths, count);
                                     });
            for (size_t i = 0; i < count; ++i, ++start) {
                std::unique_ptr<FileComparison>& member = group[start];
                File* file = member->file;
                if (outcomes[i].error != nullptr) {
                    internal::logFailure(outcomes[i].error, file->path, outcomes[i].errorNumber);
                    verdicts.markSetAside(file);
                    member.reset();
                    continue;
                }
                member->hasher.md5.hashValue(file->hash);
                if (outcomes[i].complete) {
                    verdicts.markComplete(file);
                    member.reset();
                } else {
                    pass.add(file->hash, start);
                }
            }
            if (stopping) {
                group[start]->file->unique = true;
                return false;
            }
        }
        return true;
    }

    static constexpr double kStart = 0.3;
    static constexpr double kEnd = 0.5;

    DuplicateFileFinder& _finder;
    std::vector<File*>* _pictures;
    Duplicate<HashValue, File*>& _fileHashes;
    double _step;
    std::atomic<long long> _steps{0};
};

}  // namespace

bool DuplicateFileFinder::similar(const ImageHashValue& a, const ImageHashValue& b) { return similarImages(a, b); }

void DuplicateFileFinder::find(Groups& duplicates, Groups& similarGroups, bool onlyDuplicates) {
    // A search holds its thread for as long as the disk takes: on a pool
    // worker, the pool may start another meanwhile.
    platform::dispatch::ScopedBlockingCall blocking;
    stopped = false;
    Duplicate<long long, File*> filesBySize;
    Duplicate<long long, Symlink*> linksBySize;
    Duplicate<long long, Package*> packagesBySize;
    std::deque<Package*> unknownSizePackages;
    int count = 1;  // never 0, as it divides

    for (const Path& path : internal::distinctRoots(paths)) {
        if (isPhotoLibraryPath(path)) {
            if (auto library = scanPhotoLibrary(path, filesBySize, packagesBySize, unknownSizePackages, count))
                libraries.push_back(std::move(library));
        } else {
            directories.push_back(scanFiles(path, filesBySize, linksBySize, packagesBySize, unknownSizePackages, count));
        }
    }
    onProgress(0.3);

    Duplicate<HashValue, File*> fileHashes;
    // Pictures are decoded only for the similar pass, after all reading:
    // without it the image library is never loaded.
    std::vector<File*> pictures;
    findDuplicateFiles(filesBySize, onlyDuplicates ? nullptr : &pictures, fileHashes, 0.2 / count);
    filesBySize = {};  // no later stage looks files up by size
    onProgress(0.5);

    if (!onlyDuplicates) {
        Duplicate<ImageHashValue, File*> images;
        calcImageHash(pictures, images);
        pictures = {};
        findSimilarFiles(images, similarGroups);
        onProgress(0.55);
    }

    findDuplicateLinks(linksBySize);
    onProgress(0.6);

    Duplicate<HashValue, Package*> packageHashes;
    findDuplicatePackages(packagesBySize, unknownSizePackages, packageHashes);
    onProgress(0.8);

    Duplicate<HashValue, Directory*> directoryHashes;
    for (const auto& root : directories) findDuplicateDirectories(root.get(), directoryHashes);
    markDuplicateContainers<Directory>(directoryHashes);
    onProgress(0.9);

    filter<File>(fileHashes, duplicates);
    filter<Package>(packageHashes, duplicates);
    filter<Directory>(directoryHashes, duplicates);
}

void DuplicateFileFinder::findDuplicateFiles(Duplicate<long long, File*>& filesBySize, std::vector<File*>* pictures,
                                             Duplicate<HashValue, File*>& fileHashes, double step) {
    FileStage(*this, pictures, fileHashes, step).run(filesBySize);
    // Also after a stop: the groups complete so far are reported.
    oneNamePerFile(fileHashes);
    if (!stopped) markLoners(fileHashes);
}

void DuplicateFileFinder::calcImageHash(const std::vector<File*>& files, Duplicate<ImageHashValue, File*>& images) {
    // Decoding is the cost, and pictures are independent: each thread hashes
    // into the slot of its file, and the index is filled in the files' order.
    std::vector<std::optional<ImageHashValue>> hashes(files.size());
    internal::forEachInParallel(files.size(), internal::parallelThreadsFor(files.size(), threads), stopped,
                                [&](size_t i, internal::Worker worker) {
                                    if (worker.onCaller()) notifyCurrentPath(files[i]->path);
                                    try {
                                        hashes[i] = hashImage(*files[i]);
                                    } catch (const std::runtime_error&) {
                                        // A picture that does not decode takes no part
                                        // (hashImage said why).
                                    }
                                });
    for (size_t i = 0; i < files.size(); ++i)
        if (hashes[i]) images.add(std::move(*hashes[i]), files[i]);
}

void DuplicateFileFinder::findSimilarFiles(Duplicate<ImageHashValue, File*>& images, Groups& similarGroups) {
    struct Pending {
        const ImageHashValue* key;
        const Duplicate<ImageHashValue, File*>::Values* files;
    };
    std::vector<Pending> pending;
    for (auto it = images.begin(); it != images.end(); ++it) pending.push_back({&it->key, &it->values});

    using Keys = std::set<const ImageHashValue*>;
    std::vector<std::pair<Keys, Group>> groups;
    while (!pending.empty()) {
        const Pending seed = pending.front();
        notifyCurrentPath(seed.files->front()->path);
        Keys keys{seed.key};
        Group files(seed.files->begin(), seed.files->end());
        std::vector<bool> taken(pending.size(), false);
        taken[0] = true;
        for (size_t i = 1; i < pending.size(); ++i) {
            if (stopped) return;
            if (!similar(*seed.key, *pending[i].key)) continue;
            keys.insert(pending[i].key);
            files.insert(files.end(), pending[i].files->begin(), pending[i].files->end());
            taken[i] = true;
        }
        std::vector<Pending> rest;
        rest.reserve(pending.size());
        for (size_t i = 0; i < pending.size(); ++i)
            if (!taken[i]) rest.push_back(pending[i]);
        pending = std::move(rest);

        if (files.size() < 2) continue;
        bool placed = false;
        for (size_t g = 0; g < groups.size() && !placed; ++g) {
            if (stopped) return;
            SetRelation relation = compareSet(keys, groups[g].first);
            if (relation == SetRelation::apart) continue;
            placed = true;
            if (relation == SetRelation::same) break;
            // Overlapping groups merge, sorted by path; the merged group goes
            // to the end and is not compared with later groups again.
            auto merged = std::move(groups[g]);
            groups.erase(groups.begin() + static_cast<std::ptrdiff_t>(g));
            merged.first.insert(keys.begin(), keys.end());
            merged.second.insert(merged.second.end(), files.begin(), files.end());
            std::sort(merged.second.begin(), merged.second.end(),
                      [](const File* a, const File* b) { return a->path.view() < b->path.view(); });
            merged.second.erase(std::unique(merged.second.begin(), merged.second.end()), merged.second.end());
            groups.push_back(std::move(merged));
        }
        if (!placed) groups.emplace_back(std::move(keys), std::move(files));
    }
    for (auto& group : groups) similarGroups.push_back(std::move(group.second));
}

void DuplicateFileFinder::findDuplicateLinks(Duplicate<long long, Symlink*>& linksBySize) {
    if (stopped) return;
    markLoners(linksBySize);
    for (auto it = linksBySize.begin(); it != linksBySize.end(); ++it) {
        if (it->values.size() == 1) continue;
        Duplicate<HashValue, Symlink*> byTarget;
        for (Symlink* link : it->values) {
            if (hashSymlink(*link, link->hash))
                byTarget.add(link->hash, link);
            else
                link->unique = true;
        }
        markLoners(byTarget);
    }
}

void DuplicateFileFinder::findDuplicatePackages(Duplicate<long long, Package*>& packagesBySize,
                                                std::deque<Package*>& unknownSizePackages,
                                                Duplicate<HashValue, Package*>& packageHashes) {
    if (stopped) return;
    WorkList<PackageHasher> work;
    // A package of unknown size could equal any other, so then all are one group.
    if (!unknownSizePackages.empty()) work.emplace_back();
    for (auto it = packagesBySize.begin(); it != packagesBySize.end(); ++it) {
        if (unknownSizePackages.empty()) work.emplace_back();
        for (Package* package : it->values) work.back().push_back(std::make_unique<PackageHasher>(package, minFileSize));
    }
    for (Package* package : unknownSizePackages)
        work.back().push_back(std::make_unique<PackageHasher>(package, minFileSize));

    while (!work.empty()) {
        Candidates<PackageHasher> group = std::move(work.back());
        work.pop_back();
        Pass pass;
        for (size_t member = 0; member < group.size(); ++member) {
            std::unique_ptr<PackageHasher>& hasher = group[member];
            Package* package = hasher->package;
            if (stopped) {
                package->unique = true;
                hasher.reset();
                continue;
            }
            try {
                notifyCurrentPath(package->path);
                bool complete = hasher->update();
                hasher->md5.hashValue(package->hash);
                if (complete) {
                    packageHashes.add(package->hash, package);
                    hasher.reset();
                } else {
                    pass.add(package->hash, member);
                }
            } catch (const ReadError& error) {
                internal::logFailure(error.what(), package->path, error.errorNumber());
                package->unique = true;
                hasher.reset();
            } catch (const std::runtime_error&) {
                // Too small, or holding what no package should: no failure.
                package->unique = true;
                hasher.reset();
            }
        }
        regroup(pass, group, work, stopped, [](PackageHasher& loner) { loner.package->unique = true; });
    }
    markDuplicateContainers<Package>(packageHashes);
}

void DuplicateFileFinder::findDuplicateDirectories(Directory* root, Duplicate<HashValue, Directory*>& directoryHashes) {
    // After a stop the marks are incomplete: unread folders would look alike.
    if (stopped) return;
    MD5 md5;
    std::vector<std::pair<Directory*, bool>> stack{{root, true}};
    while (!stack.empty()) {
        // Folders digested so far stand; the rest take no part.
        if (stopped) return;
        auto& [directory, firstVisit] = stack.back();
        if (firstVisit) {
            firstVisit = false;
            Directory* parent = directory;
            for (const auto& child : parent->children) {
                File& object = *child;
                if (object.unique) parent->unique = true;
                if (typeid(object) == typeid(Directory)) stack.emplace_back(static_cast<Directory*>(&object), true);
            }
            continue;
        }
        Directory* current = directory;
        stack.pop_back();
        if (current->unique) {
            if (current->parent) current->parent->unique = true;
            continue;
        }
        notifyCurrentPath(current->path);
        std::sort(current->children.begin(), current->children.end(),
                  [](const std::unique_ptr<File>& a, const std::unique_ptr<File>& b) {
                      int ta = fileTypeId(*a), tb = fileTypeId(*b);
                      if (ta != tb) return ta > tb;
                      if (a->size != b->size) return a->size > b->size;
                      return a->hash > b->hash;
                  });
        md5.reset();
        for (const auto& child : current->children) {
            int32_t type = fileTypeId(*child);
            int64_t size = child->size;
            md5.updateMD5(&type, sizeof type);
            md5.updateMD5(&size, sizeof size);
            md5.updateMD5(child->hash.words, sizeof child->hash.words);
            current->size += child->size;
        }
        if (current->size >= minFileSize) {
            md5.hashValue(current->hash);
            directoryHashes.add(current->hash, current);
        }
    }
}

template <class T>
void DuplicateFileFinder::markDuplicateContainers(Duplicate<HashValue, T*>& index) {
    oneNamePerFile(index);
    markLoners(index);
    for (auto node = index.begin(); node != index.end(); ++node)
        if (node->values.size() > 1)
            for (T* container : node->values) container->duplicate = true;
}

template <class T>
void DuplicateFileFinder::filter(Duplicate<HashValue, T*>& index, Groups& duplicates) {
    for (auto node = index.begin(); node != index.end(); ++node) {
        if (node->values.size() < 2) continue;
        bool allInside = std::all_of(node->values.begin(), node->values.end(),
                                     [](const T* item) { return item->parent != nullptr && item->parent->duplicate; });
        if (allInside) continue;
        duplicates.emplace_back(node->values.begin(), node->values.end());
    }
}

}  // namespace dff
