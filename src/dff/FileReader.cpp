#include "dff/FileReader.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace dff {

char FileReader::buffer[FileReader::kBlockSize];

namespace {

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};

}  // namespace

bool FileReader::read(const std::function<void(const char*, long long)>& callback) {
    if (size == 0) return true;
    std::unique_ptr<FILE, FileCloser> file(std::fopen(path->cStr(), "r"));
    if (!file) throw std::runtime_error("Failed to open file");
    if (fseeko(file.get(), static_cast<off_t>(position), SEEK_SET) != 0)
        throw std::runtime_error("Failed to set file position");
    // The first step decides most comparisons, so it costs one block only.
    int budget = position == 0 ? 1 : kBlocksPerStep;
    while (position < size && budget-- > 0) {
        size_t want = static_cast<size_t>(std::min(kBlockSize, size - position));
        size_t got = std::fread(buffer, 1, want, file.get());
        if (got == 0) throw std::runtime_error("Failed to read file");
        callback(buffer, static_cast<long long>(got));
        position += static_cast<long long>(got);
    }
    return position == size;
}

}  // namespace dff
