#include "platform/Analytics.h"

#include <atomic>
#include <cstdio>
#include <mutex>

namespace platform {

namespace {

class LogSink final : public AnalyticsSink {
public:
    void event(int code, const std::map<std::string, std::string>& info) override {
        std::string text = "analytics " + std::to_string(code);
        for (const auto& [key, value] : info) text += " " + key + "=" + value;
        log(text);
    }
    void line(const std::string& text) override { log("analytics " + text); }
};

std::mutex sinkMutex;
std::shared_ptr<AnalyticsSink>& installedSink() {
    static std::shared_ptr<AnalyticsSink> sink = std::make_shared<LogSink>();
    return sink;
}

std::atomic<void (*)(const std::string&)> logHandler{nullptr};

}  // namespace

std::shared_ptr<AnalyticsSink> AnalyticsSink::shared() {
    std::lock_guard lock(sinkMutex);
    return installedSink();
}

void AnalyticsSink::setShared(std::shared_ptr<AnalyticsSink> sink) {
    std::lock_guard lock(sinkMutex);
    installedSink() = sink ? std::move(sink) : std::make_shared<LogSink>();
}

void log(const std::string& line) {
    if (auto handler = logHandler.load()) {
        handler(line);
        return;
    }
    std::fprintf(stderr, "%s\n", line.c_str());
}

void setLogHandler(void (*handler)(const std::string& line)) { logHandler.store(handler); }

}  // namespace platform
