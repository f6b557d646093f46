#pragma once
// Puts a faulty stand-in for pread(2) behind dff::FileReader for the life of
// the scope: it gives at most `chunk` bytes a call, is interrupted (EINTR)
// before every other call when asked, and fails with EIO from byte `failAt`
// on in files whose path ends in `failIn`. One at a time; install it while
// no search runs.
//
//   testing_support::ScopedFaultyReads faults({.chunk = 1000, .interrupt = true});
//   reader.read(...);   // every byte arrives all the same

#include "dff/FileReader.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <string>

namespace testing_support {

class ScopedFaultyReads {
public:
    struct Faults {
        size_t chunk = SIZE_MAX;
        bool interrupt = false;
        long long failAt = -1;
        std::string failIn;
    };

    explicit ScopedFaultyReads(Faults faults) {
        state() = std::move(faults);
        calls() = 0;
        dff::FileReader::setPreadForTesting(&faultyPread);
    }
    ~ScopedFaultyReads() { dff::FileReader::setPreadForTesting(nullptr); }
    ScopedFaultyReads(const ScopedFaultyReads&) = delete;
    ScopedFaultyReads& operator=(const ScopedFaultyReads&) = delete;

    // Calls of the stand-in so far, interrupted ones included.
    static long calledTimes() { return calls(); }

private:
    static Faults& state() {
        static Faults faults;
        return faults;
    }
    static std::atomic<long>& calls() {
        static std::atomic<long> count{0};
        return count;
    }
    static bool inFailingFile(int fd) {
        const std::string& suffix = state().failIn;
        char path[4096];
        ssize_t n = ::readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), path, sizeof path);
        if (n < 0 || size_t(n) < suffix.size()) return false;
        return std::string(path, size_t(n)).compare(size_t(n) - suffix.size(), suffix.size(), suffix) == 0;
    }
    static ssize_t faultyPread(int fd, void* into, size_t count, off_t offset) {
        const Faults& faults = state();
        if (faults.interrupt && calls()++ % 2 == 0) {
            errno = EINTR;
            return -1;
        }
        if (!faults.interrupt) ++calls();
        if (faults.failAt >= 0 && offset >= faults.failAt && inFailingFile(fd)) {
            errno = EIO;
            return -1;
        }
        return ::pread(fd, into, std::min(count, faults.chunk), offset);
    }
};

}  // namespace testing_support
