#pragma once
// dff::FileReader: reads a file in steps, so that the search can compare
// digests between steps and stop reading as soon as a file has no partner.
// The first step reads one 4096-byte block, each later step up to 1000
// blocks. The file is opened and closed within each step.
//
// The search reads the members of a group (files of one size that agree so
// far) together: readTogether() takes the same step of several readers,
// a chunk of each in turn, so that their digests can be fed side by side.
//
// Threading: a reader is used by one thread at a time. Readers hold no
// buffer of their own: read() takes one for the step, and readTogether()
// reads into the caller's ReadBuffers, so that searches may run at once.
//
//   dff::FileReader reader(file);            // a dff::File*
//   dff::FileHasher hasher;
//   bool done = reader.read([&](const char* b, long long n) { hasher.update(b, n); });

#include "dff/File.h"

#include <sys/types.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <stdexcept>

namespace dff {

// What the readers throw: the fixed words, and the errno of the call that
// failed (0 when the file was only shorter than expected).
class ReadError : public std::runtime_error {
public:
    ReadError(const char* what, int errorNumber) : std::runtime_error(what), _errorNumber(errorNumber) {}
    int errorNumber() const { return _errorNumber; }

private:
    int _errorNumber;
};

class FileReader {
public:
    static constexpr long long kBlockSize = 4096;
    static constexpr int kBlocksPerStep = 1000;
    // The most readers that readTogether() takes at once.
    static constexpr size_t kMaxTogether = 3;
    // Bytes asked of the system at once: far fewer calls than a block at a
    // time, while a chunk of every reader still fits the processor's cache.
    static constexpr long long kChunkSize = 64 * 1024;

    // A chunk for each of up to `readers` readers of readTogether(); one per
    // search, reused for every step.
    class ReadBuffers {
    public:
        explicit ReadBuffers(size_t readers = kMaxTogether)
            : _readers(readers), _bytes(std::make_unique_for_overwrite<unsigned char[]>(readers * kChunkSize)) {}
        size_t readers() const { return _readers; }
        unsigned char* chunk(size_t i) { return _bytes.get() + i * kChunkSize; }

    private:
        size_t _readers;
        std::unique_ptr<unsigned char[]> _bytes;
    };

    FileReader(const Path* path, long long size) : path(path), size(size) {}
    explicit FileReader(const File* file) : path(&file->path), size(file->size) {}

    // Hands the next bytes to `callback`, a block of at most 4096 bytes at a
    // time, and gives true when all `size` bytes have been delivered. A size
    // of 0 is complete at once, without opening the file. Throws
    // std::runtime_error with "Failed to open file", "Failed to set file
    // position" or "Failed to read file" (also when the file is now shorter
    // than `size`), as a ReadError that also holds the errno. Bytes past
    // `size` are never read.
    bool read(const std::function<void(const char*, long long)>& callback);
    bool isCompleted() const { return position == size; }

    // How one reader's step in readTogether() ended: bytes remain, the file
    // is complete, or `error` holds the words read() would have thrown.
    struct Outcome {
        bool complete = false;
        const char* error = nullptr;
        // The errno of the call that failed; 0 when the file was only shorter.
        int errorNumber = 0;
    };

    // Takes the next step of `count` readers (at most kMaxTogether), reading
    // a chunk of each in turn and handing every round to `consume`: for each
    // reader its bytes and their number, 0 for one that has finished its
    // step or failed. Readers that start at the same position with the same
    // size get chunks of the same length in every round. The outcome of each
    // reader goes to `outcomes`; one reader's failure ends only its own step.
    static void readTogether(ReadBuffers& buffers, FileReader* const* readers, size_t count, Outcome* outcomes,
                             const std::function<void(const unsigned char* const* data, const size_t* lengths)>& consume);

    // The positioned read that readers call, in place of pread(2), so that
    // tests can give short reads, interruptions and errors. Null restores
    // pread; set it while no search runs.
    using PreadFunction = ssize_t (*)(int fd, void* into, size_t count, off_t offset);
    static void setPreadForTesting(PreadFunction pread);

    const Path* path;
    long long size;
    long long position = 0;
};

}  // namespace dff
