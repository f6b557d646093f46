// The stages of DuplicateFileFinder::find. The walk is in DuplicateFileFinder.cpp.

#include "dff/DuplicateFileFinder.h"

#include "dff/FileReader.h"
#include "dff/MD5.h"
#include "dff/PackageHasher.h"
#include "dff/SymlinkHasher.h"
#include "dff/image/ImageFiles.h"
#include "dff/image/ImageHash.h"
#include "dff/internal/Failure.h"
#include "dff/internal/ParallelEach.h"

#include <strings.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
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
// Made when the file's group is first read: groups of every size wait on the
// work list at once, and most files of a search may be in them.
struct _Hash {
    explicit _Hash(File* file) : file(file), reader(file) {}
    File* file;
    FileReader reader;
    FileHasher hasher;
};

// Frees what a stage still holds in its work list when it ends early or
// something other than a read error passes through.
template <class T>
struct WorkList {
    // Vectors: a search may hold a group for every size at once.
    std::deque<std::vector<T*>> groups;
    ~WorkList() {
        for (auto& group : groups)
            for (T* item : group) delete item;
    }
};

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

}  // namespace

bool DuplicateFileFinder::similar(const ImageHashValue& a, const ImageHashValue& b) { return similarImages(a, b); }

void DuplicateFileFinder::find(Groups& duplicates, Groups& similarGroups, bool onlyDuplicates) {
    stopped = false;
    Duplicate<long long, File*> filesBySize;
    Duplicate<long long, Symlink*> linksBySize;
    Duplicate<long long, Package*> packagesBySize;
    std::deque<Package*> unknownSizePackages;
    int count = 1;  // never 0, as it divides

    for (const Path& path : paths) {
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
    if (stopped) return;
    // A file without a twin is compared as a picture later, if its name
    // says it is one; its bytes are looked at only then.
    auto takePicture = [pictures](File* file) {
        if (pictures != nullptr && file->path.length() != 0 && hasPictureName(file->path))
            pictures->push_back(file);
    };
    double progress = 0.3;
    auto raise = [&] {
        progress = std::min(progress + step, 0.5);
        onProgress(progress);
    };

    // Files alone of their size are never read; the others make a group,
    // whose digest states wait until it is read.
    std::vector<const Duplicate<long long, File*>::Values*> unread;
    for (auto it = filesBySize.begin(); it != filesBySize.end(); ++it) {
        if (it->values.size() == 1) {
            if (stopped) return;
            File* file = it->values.front();
            takePicture(file);
            raise();
            file->unique = true;
            continue;
        }
        unread.push_back(&it->values);
    }

    // The work list is used as a stack: a group is read pass by pass until
    // it has split into loners or its members are complete. Groups split
    // off a pass go on top of those still unread.
    WorkList<_Hash> work;
    FileReader::ReadBuffers buffers;
    while (!work.groups.empty() || !unread.empty()) {
        if (work.groups.empty()) {
            if (stopped) return;
            work.groups.emplace_back();
            for (File* file : *unread.back()) work.groups.back().push_back(new _Hash(file));
            unread.pop_back();
        }
        Duplicate<HashValue, _Hash*> pass;
        std::vector<_Hash*>& group = work.groups.back();
        // Members are read a few at a time, in step, and their digests fed
        // side by side; what happens to each is decided in the group's order.
        for (size_t start = 0; start < group.size();) {
            _Hash** batch = group.data() + start;
            size_t room = std::min(FileReader::kMaxTogether, group.size() - start);
            size_t count = 0;
            bool stopping = false;
            FileReader* readers[FileReader::kMaxTogether];
            MD5* states[FileReader::kMaxTogether];
            for (; count < room; ++count) {
                if ((stopping = stopped)) break;
                notifyCurrentPath(batch[count]->file->path);
                raise();
                readers[count] = &batch[count]->reader;
                states[count] = &batch[count]->hasher.md5;
            }
            start += count;
            FileReader::Outcome outcomes[FileReader::kMaxTogether];
            FileReader::readTogether(buffers, readers, count, outcomes,
                                     [&](const unsigned char* const* data, const size_t* lengths) {
                                         MD5::updateTogether(states, data, lengths, count);
                                     });
            for (size_t i = 0; i < count; ++i) {
                _Hash*& entry = batch[i];
                File* file = entry->file;
                if (outcomes[i].error != nullptr) {
                    internal::logFailure(outcomes[i].error, file->path, outcomes[i].errorNumber);
                    takePicture(file);
                    file->unique = true;
                    delete std::exchange(entry, nullptr);
                    continue;
                }
                entry->hasher.md5.hashValue(file->hash);
                if (outcomes[i].complete) {
                    fileHashes.add(file->hash, file);
                    delete std::exchange(entry, nullptr);
                } else {
                    pass.add(file->hash, entry);
                }
            }
            if (stopping) {
                batch[count]->file->unique = true;
                return;
            }
        }
        // What is in `pass` is now owned by the pass's walk below.
        work.groups.pop_back();
        walkNodes(pass, stopped, [&](auto& node) {
            if (node.values.size() == 1) {
                _Hash* item = node.values.front();
                takePicture(item->file);
                item->file->unique = true;
                delete item;
            } else {
                work.groups.emplace_back(node.values.begin(), node.values.end());
            }
            node.values.clear();
        });
        // A stop in the walk leaves some nodes unvisited; their files are freed
        // and count as unproven.
        walkNodes(pass, std::atomic<bool>(false), [&](auto& node) {
            for (_Hash* item : node.values) {
                item->file->unique = true;
                delete item;
            }
            node.values.clear();
        });
    }

    walkNodes(fileHashes, stopped, [](auto& node) {
        if (node.values.size() == 1) node.values.front()->unique = true;
    });
}

void DuplicateFileFinder::calcImageHash(const std::vector<File*>& files, Duplicate<ImageHashValue, File*>& images) {
    // Decoding is the cost, and pictures are independent: each thread hashes
    // into the slot of its file, and the index is filled in the files' order.
    std::vector<std::optional<ImageHashValue>> hashes(files.size());
    internal::forEachInParallel(files.size(), internal::parallelThreadsFor(files.size()), stopped,
                                [&](size_t i, bool onCaller) {
                                    if (onCaller) notifyCurrentPath(files[i]->path);
                                    try {
                                        hashes[i] = hashImage(*files[i]);
                                    } catch (const std::runtime_error& error) {
                                        // A picture that does not decode takes no part.
                                        internal::logFailure(error.what(), files[i]->path, 0);
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
            int relation = compareSet(keys, groups[g].first);
            if (relation == 2) continue;
            placed = true;
            if (relation == 0) break;
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
    for (auto it = linksBySize.begin(); it != linksBySize.end(); ++it) {
        if (it->values.size() == 1) {
            it->values.front()->unique = true;
            continue;
        }
        Duplicate<HashValue, Symlink*> byTarget;
        for (Symlink* link : it->values) {
            if (hashSymlink(*link, link->hash))
                byTarget.add(link->hash, link);
            else
                link->unique = true;
        }
        for (auto node = byTarget.begin(); node != byTarget.end(); ++node)
            if (node->values.size() == 1) node->values.front()->unique = true;
    }
}

void DuplicateFileFinder::findDuplicatePackages(Duplicate<long long, Package*>& packagesBySize,
                                                std::deque<Package*>& unknownSizePackages,
                                                Duplicate<HashValue, Package*>& packageHashes) {
    if (stopped) return;
    WorkList<PackageHasher> work;
    // A package of unknown size could equal any other, so then all are one group.
    if (!unknownSizePackages.empty()) work.groups.emplace_back();
    for (auto it = packagesBySize.begin(); it != packagesBySize.end(); ++it) {
        if (unknownSizePackages.empty()) work.groups.emplace_back();
        for (Package* package : it->values) work.groups.back().push_back(new PackageHasher(package, minFileSize));
    }
    for (Package* package : unknownSizePackages) work.groups.back().push_back(new PackageHasher(package, minFileSize));

    while (!work.groups.empty()) {
        Duplicate<HashValue, PackageHasher*> pass;
        for (PackageHasher*& entry : work.groups.back()) {
            PackageHasher* hasher = std::exchange(entry, nullptr);
            Package* package = hasher->package;
            if (stopped) {
                package->unique = true;
                delete hasher;
                continue;
            }
            try {
                notifyCurrentPath(package->path);
                bool complete = hasher->update();
                hasher->md5.hashValue(package->hash);
                if (complete) {
                    packageHashes.add(package->hash, package);
                    delete hasher;
                } else {
                    pass.add(package->hash, hasher);
                }
            } catch (const ReadError& error) {
                internal::logFailure(error.what(), package->path, error.errorNumber());
                package->unique = true;
                delete hasher;
            } catch (const std::runtime_error&) {
                // Too small, or holding what no package should: no failure.
                package->unique = true;
                delete hasher;
            }
        }
        work.groups.pop_back();
        for (auto node = pass.begin(); node != pass.end(); ++node) {
            if (node->values.size() == 1) {
                node->values.front()->package->unique = true;
                delete node->values.front();
            } else {
                work.groups.emplace_back(node->values.begin(), node->values.end());
            }
        }
    }
    markDuplicateContainers<Package>(packageHashes);
}

void DuplicateFileFinder::findDuplicateDirectories(Directory* root, Duplicate<HashValue, Directory*>& directoryHashes) {
    // After a stop the marks are incomplete: unread folders would look alike.
    if (stopped) return;
    MD5 md5;
    std::vector<std::pair<Directory*, bool>> stack{{root, true}};
    while (!stack.empty()) {
        auto& [directory, firstVisit] = stack.back();
        if (firstVisit) {
            firstVisit = false;
            Directory* parent = directory;
            for (const auto& child : parent->children) {
                if (child->unique) parent->unique = true;
                if (typeid(*child) == typeid(Directory)) stack.emplace_back(static_cast<Directory*>(child.get()), true);
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
                  [](const std::shared_ptr<File>& a, const std::shared_ptr<File>& b) {
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
    for (auto node = index.begin(); node != index.end(); ++node) {
        if (node->values.size() == 1) {
            node->values.front()->unique = true;
            continue;
        }
        for (T* container : node->values) container->duplicate = true;
    }
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
