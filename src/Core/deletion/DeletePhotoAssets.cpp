#include "Core/deletion/DeletePhotoAssets.h"

#include "dff/OMPhotoLibraryLoader.h"
#include "platform/Analytics.h"
#include "platform/Dispatch.h"

#include <ctime>

namespace Core {

namespace {

constexpr int kAskedEvent = 49;
constexpr int kOutcomeEvent = 50;
// The photo service's access level "read and write".
constexpr int kReadWriteAccess = 2;
constexpr int kRestricted = 1;
constexpr int kDenied = 2;

// The current date as the platform writes a date: "2024-05-01 12:00:00 +0000".
std::string dateText() {
    std::time_t now = std::time(nullptr);
    std::tm parts{};
    ::gmtime_r(&now, &parts);
    char text[40];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S +0000", &parts);
    return text;
}

}  // namespace

void deletePhotoAssets(const std::string& libraryPath, const std::vector<std::string>& ids,
                       std::function<void(bool success, bool authorizationFailed)> completion) {
    auto sink = platform::AnalyticsSink::shared();
    sink->event(kAskedEvent, {});
    auto library = dff::OMPhotoLibraryLoader::fromPath(libraryPath);
    if (!library) {
        sink->event(kOutcomeEvent, {{"info", "load library failed: " + libraryPath}});
        completion(false, false);
        return;
    }
    auto assets = dff::OMPhotoLibraryLoader::fetchAssets(ids, library);
    if (!assets || assets->empty()) {
        sink->event(kOutcomeEvent, {{"info", "load library assets count: " + std::to_string(ids.size()) +
                                                 " failed, result is empty"}});
        completion(false, false);
        return;
    }
    std::string count = std::to_string(ids.size());
    library->deleteAssets(*assets, [count, completion](bool success, const std::string&) {
        auto sink = platform::AnalyticsSink::shared();
        bool authorizationFailed = false;
        if (success) {
            sink->event(kOutcomeEvent, {{"stat", "true"}, {"tm", dateText()}, {"num", count}});
        } else {
            int status = platform::PhotoService::shared()->authorizationStatus(kReadWriteAccess);
            authorizationFailed = status == kRestricted || status == kDenied;
            sink->event(kOutcomeEvent,
                        {{"stat", authorizationFailed ? "auth_err" : "other_err"}, {"tm", dateText()}, {"num", count}});
        }
        platform::dispatch::mainQueue()->async(
            [completion, success, authorizationFailed] { completion(success, authorizationFailed); });
    });
}

}  // namespace Core
