#include "SmcTesting.h"

#include "platform/Analytics.h"

namespace monitor_testing {

namespace {

std::mutex logMutex;
std::vector<std::string> captured;

void capture(const std::string& line) {
    std::lock_guard lock(logMutex);
    captured.push_back(line);
}

}  // namespace

ScopedLogCapture::ScopedLogCapture() {
    std::lock_guard lock(logMutex);
    captured.clear();
    platform::setLogHandler(capture);
}

ScopedLogCapture::~ScopedLogCapture() { platform::setLogHandler(nullptr); }

std::vector<std::string> ScopedLogCapture::lines() const {
    std::lock_guard lock(logMutex);
    return captured;
}

}  // namespace monitor_testing
