#pragma once
// A photo service that knows one library, at `libraryPath`, whose assets are
// the identifiers in `known`. A deletion answers on a thread of its own with
// the next of `outcomes` (a refusal once none is left) and notes its size.
// The preference it holds is the photo application's default-library
// bookmark, and a bookmark resolves to the path it holds as bytes.
//
//   testing_support::ScopedPhotoService photos;
//   photos.service->known = {"P1"};

#include "platform/PhotoService.h"
#include "support/ScopedShared.h"

#include <deque>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace testing_support {

class FakePhotoService final : public platform::PhotoService {
public:
    class Library final : public platform::PhotoLibraryHandle {
    public:
        explicit Library(FakePhotoService& service) : _service(service) {}
        std::string uuid() const override { return _service.libraryId; }
        std::optional<std::vector<platform::PhotoAsset>> fetchObjects(const std::vector<std::string>& uuids,
                                                                      const std::string& entityName) override {
            _service.lastEntity = entityName;
            std::vector<platform::PhotoAsset> found;
            for (const auto& id : uuids)
                if (_service.known.count(id)) found.push_back({id});
            return found;
        }
        void deleteAssets(const std::vector<platform::PhotoAsset>& assets,
                          std::function<void(bool, const std::string&)> completion) override {
            bool success = !_service.outcomes.empty() && _service.outcomes.front();
            if (!_service.outcomes.empty()) _service.outcomes.pop_front();
            _service.deletions.push_back(assets.size());
            std::thread([completion, success] { completion(success, success ? "" : "refused"); }).join();
        }

    private:
        FakePhotoService& _service;
    };

    std::optional<platform::PlistValue> preferenceValue(const std::string& app, const std::string& key) override {
        if (app != "com.example.photos" || key != "IPXDefaultLibraryURLBookmark") return std::nullopt;
        return preference;
    }
    std::optional<platform::URL> resolveBookmark(const platform::PlistValue::Data& data) override {
        return platform::URL::fileURL(std::string(data.begin(), data.end()));
    }
    void enableMultiLibraryMode() override { multiLibrary = true; }
    std::shared_ptr<platform::PhotoLibraryHandle> openLibrary(const platform::URL& url, int) override {
        if (url.path() != libraryPath) return nullptr;
        return std::make_shared<Library>(*this);
    }
    int authorizationStatus(int) override { return status; }

    std::string libraryPath;
    std::string libraryId = "LIB";
    std::set<std::string> known;
    std::deque<bool> outcomes;
    std::vector<size_t> deletions;  // assets per deletion asked for
    int status = 3;                 // authorized
    std::optional<platform::PlistValue> preference;
    bool multiLibrary = false;
    std::string lastEntity;
};

using ScopedPhotoService = ScopedShared<platform::PhotoService, FakePhotoService>;

}  // namespace testing_support
