#pragma once
// dff::FileReader: reads a file in steps, so that the search can compare
// digests between steps and stop reading as soon as a file has no partner.
// The first step reads one 4096-byte block, each later step up to 1000
// blocks. The file is opened and closed within each step.
//
// Threading: all readers share one static block buffer, so only one thread
// may read at a time.
//
//   dff::FileReader reader(file);            // a dff::File*
//   dff::FileHasher hasher;
//   bool done = reader.read([&](const char* b, long long n) { hasher.update(b, n); });

#include "dff/File.h"

#include <functional>

namespace dff {

class FileReader {
public:
    static constexpr long long kBlockSize = 4096;
    static constexpr int kBlocksPerStep = 1000;

    FileReader(const Path* path, long long size) : path(path), size(size) {}
    explicit FileReader(const File* file) : path(&file->path), size(file->size) {}

    // Hands the next bytes to `callback`, a block at a time, and gives true
    // when all `size` bytes have been delivered. A size of 0 is complete at
    // once, without opening the file. Throws std::runtime_error with
    // "Failed to open file", "Failed to set file position" or "Failed to read
    // file" (also when the file is now shorter than `size`). Bytes past
    // `size` are never read.
    bool read(const std::function<void(const char*, long long)>& callback);
    bool isCompleted() const { return position == size; }

    const Path* path;
    long long size;
    long long position = 0;

    // The one block buffer of all readers.
    static char buffer[kBlockSize];
};

}  // namespace dff
