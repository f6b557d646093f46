#pragma once
// DirectoryReader: the entries of an open directory, read in batches with
// getdents64 into one buffer that lives as long as the reader, so a listing
// makes one system call per few hundred entries and allocates nothing.
// "." and ".." are passed over.
//
// Threading: one reader per thread; it does not own the descriptor.
//
//   internal::DirectoryReader reader(fd);
//   internal::DirectoryReader::Entry entry;
//   while (reader.next(entry)) use(entry.name);
//   if (reader.error() != 0) ...;

#include <cstddef>
#include <cstdint>
#include <string>

namespace Core::internal {

class DirectoryReader {
public:
    struct Entry {
        const char* name = nullptr;  // valid until the next call of next()
        size_t nameLength = 0;
        uint64_t fileNumber = 0;
        unsigned char type = 0;      // DT_* value; DT_UNKNOWN where the file system doesn't say
    };

    explicit DirectoryReader(int directoryFd) : _fd(directoryFd) {}
    DirectoryReader(const DirectoryReader&) = delete;
    DirectoryReader& operator=(const DirectoryReader&) = delete;

    // The next entry; false at the end or on a read error (then error() is
    // the errno value, else 0).
    bool next(Entry& entry);
    int error() const { return _error; }

private:
    static constexpr size_t kBufferSize = 32 * 1024;
    int _fd;
    int _error = 0;
    size_t _offset = 0;
    size_t _filled = 0;
    bool _ended = false;
    alignas(8) char _buffer[kBufferSize];
};

// `base` joined with `name` by one "/" unless `base` already ends in one.
std::string appendPathComponent(const std::string& base, const char* name, size_t nameLength);

}  // namespace Core::internal
