#include "dff/FileReader.h"

#include "platform/FileTypes.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <stdexcept>

namespace dff {

namespace {

ssize_t systemPread(int fd, void* into, size_t count, off_t offset) { return ::pread(fd, into, count, offset); }
std::atomic<FileReader::PreadFunction> preadCall{systemPread};

// Reads `want` bytes at `offset`, going on after short reads, so that
// readers of equal files stay in step. Gives the bytes read; fewer than
// `want` only at the end of the file or on an error, whose errno goes to
// `error`.
long long readFully(int fd, unsigned char* into, long long want, long long offset, int& error) {
    long long got = 0;
    while (got < want) {
        ssize_t n = preadCall.load(std::memory_order_relaxed)(fd, into + got, static_cast<size_t>(want - got),
                                                             static_cast<off_t>(offset + got));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) error = errno;
        if (n <= 0) break;
        got += n;
    }
    return got;
}

}  // namespace

void FileReader::readTogether(ReadBuffers& buffers, FileReader* const* readers, size_t count, Outcome* outcomes,
                              const std::function<void(const unsigned char* const* data, const size_t* lengths)>& consume) {
    if (count > kMaxTogether || count > buffers.readers()) throw std::invalid_argument("Too many readers at once");
    int fds[kMaxTogether];
    // Closed however the reading ends, also when `consume` throws.
    struct Closer {
        int* fds;
        size_t count;
        ~Closer() {
            for (size_t i = 0; i < count; ++i)
                if (fds[i] >= 0) ::close(fds[i]);
        }
    } closer{fds, 0};
    long long budget[kMaxTogether];
    bool active[kMaxTogether];
    size_t running = 0;
    for (size_t i = 0; i < count; ++i) {
        FileReader& reader = *readers[i];
        outcomes[i] = Outcome{};
        fds[i] = -1;
        closer.count = i + 1;
        active[i] = false;
        if (reader.size == 0) {
            outcomes[i].complete = true;
            continue;
        }
        fds[i] = platform::openRegularFile(reader.path->cStr());
        if (fds[i] < 0) {
            outcomes[i].error = "Failed to open file";
            outcomes[i].errorNumber = errno;
        } else if (reader.position < 0) {
            outcomes[i].error = "Failed to set file position";
        } else {
            // The first step decides most comparisons, so it costs one block.
            budget[i] = reader.position == 0 ? kBlockSize : kBlockSize * kBlocksPerStep;
            active[i] = reader.position < reader.size;
            outcomes[i].complete = !active[i];
            running += active[i];
        }
    }

    const unsigned char* data[kMaxTogether];
    size_t lengths[kMaxTogether];
    while (running > 0) {
        for (size_t i = 0; i < count; ++i) {
            data[i] = buffers.chunk(i);
            lengths[i] = 0;
            if (!active[i]) continue;
            FileReader& reader = *readers[i];
            long long want = std::min({kChunkSize, reader.size - reader.position, budget[i]});
            long long got = readFully(fds[i], buffers.chunk(i), want, reader.position, outcomes[i].errorNumber);
            if (got < want) {
                // Shorter than when it was listed: compared no further.
                outcomes[i].error = "Failed to read file";
                active[i] = false;
                --running;
                continue;
            }
            lengths[i] = static_cast<size_t>(got);
            reader.position += got;
            budget[i] -= got;
            if (reader.position == reader.size || budget[i] == 0) {
                outcomes[i].complete = reader.position == reader.size;
                active[i] = false;
                --running;
            }
        }
        consume(data, lengths);
    }
}

bool FileReader::read(const std::function<void(const char*, long long)>& callback) {
    FileReader* self = this;
    Outcome outcome;
    // A step's buffer of its own: a package's readers step one at a time,
    // and the allocation is small beside the open and the reads.
    ReadBuffers buffers(1);
    readTogether(buffers, &self, 1, &outcome, [&](const unsigned char* const* data, const size_t* lengths) {
        auto bytes = reinterpret_cast<const char*>(data[0]);
        for (size_t done = 0; done < lengths[0]; done += kBlockSize)
            callback(bytes + done, static_cast<long long>(std::min<size_t>(kBlockSize, lengths[0] - done)));
    });
    if (outcome.error != nullptr) throw ReadError(outcome.error, outcome.errorNumber);
    return outcome.complete;
}

void FileReader::setPreadForTesting(PreadFunction pread) { preadCall = pread ? pread : systemPread; }

}  // namespace dff
