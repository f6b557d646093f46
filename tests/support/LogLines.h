#pragma once
// Collects the lines of platform::log while it lives, for tests that check
// what the library said. One at a time: it installs the process's handler.
//
//   testing_support::LogLines log;
//   run();
//   EXPECT_NE(log.text().find("not available"), std::string::npos);

#include "platform/Analytics.h"

#include <mutex>
#include <string>
#include <vector>

namespace testing_support {

class LogLines {
public:
    LogLines() {
        {
            std::lock_guard lock(mutex());
            lines().clear();
        }
        platform::setLogHandler(&record);
    }
    ~LogLines() { platform::setLogHandler(nullptr); }
    LogLines(const LogLines&) = delete;
    LogLines& operator=(const LogLines&) = delete;

    std::vector<std::string> taken() const {
        std::lock_guard lock(mutex());
        return lines();
    }
    // Every line so far, each ended by a line feed.
    std::string text() const {
        std::string all;
        for (const auto& line : taken()) all += line + "\n";
        return all;
    }

private:
    static std::mutex& mutex() {
        static std::mutex m;
        return m;
    }
    static std::vector<std::string>& lines() {
        static std::vector<std::string> l;
        return l;
    }
    static void record(const std::string& line) {
        std::lock_guard lock(mutex());
        lines().push_back(line);
    }
};

}  // namespace testing_support
