#pragma once
// AnalyticsSink: where the library's analytics events and log lines go.
// The default sink writes one line per event to the log (standard error);
// a host or a test installs its own with setShared().
//
// Threading: events may be sent from any thread; a sink must be thread-safe.
//
//   platform::AnalyticsSink::shared()->event(65, {{"status", "ok"}});

#include <map>
#include <memory>
#include <string>

namespace platform {

class AnalyticsSink {
public:
    virtual ~AnalyticsSink() = default;
    // An integer event code with its map of texts.
    virtual void event(int code, const std::map<std::string, std::string>& info) = 0;
    // A line of text.
    virtual void line(const std::string& text) = 0;

    // The installed sink; never null.
    static std::shared_ptr<AnalyticsSink> shared();
    // Installs `sink` (null restores the default).
    static void setShared(std::shared_ptr<AnalyticsSink> sink);
};

// The platform's log: one line to standard error, or to the function that
// a test installed with setLogHandler (null restores standard error).
void log(const std::string& line);
void setLogHandler(void (*handler)(const std::string& line));

}  // namespace platform
