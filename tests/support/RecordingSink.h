#pragma once
// An analytics sink that keeps every event, installed as the shared sink
// for the life of a ScopedRecordingSink.
//
//   testing_support::ScopedRecordingSink analytics;
//   run();
//   EXPECT_EQ(analytics.service->events().at(0).first, 91);
//   EXPECT_EQ(analytics.service->described(), std::vector<std::string>{"91 num=2"});

#include "platform/Analytics.h"
#include "support/ScopedShared.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace testing_support {

class RecordingSink final : public platform::AnalyticsSink {
public:
    using Event = std::pair<int, std::map<std::string, std::string>>;

    void event(int code, const std::map<std::string, std::string>& info) override {
        std::lock_guard lock(_mutex);
        _events.emplace_back(code, info);
    }
    void line(const std::string&) override {}
    std::vector<Event> events() const {
        std::lock_guard lock(_mutex);
        return _events;
    }
    // Each event as "CODE key=value ...", a date ("tm") as "<date>".
    std::vector<std::string> described() const {
        std::vector<std::string> lines;
        for (const auto& [code, info] : events()) {
            lines.push_back(std::to_string(code));
            for (const auto& [key, value] : info) lines.back() += " " + key + "=" + (key == "tm" ? "<date>" : value);
        }
        return lines;
    }

private:
    mutable std::mutex _mutex;
    std::vector<Event> _events;
};

using ScopedRecordingSink = ScopedShared<platform::AnalyticsSink, RecordingSink>;

}  // namespace testing_support
