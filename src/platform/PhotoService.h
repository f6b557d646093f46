#pragma once
// PhotoService: the system's photo service and the preferences of the photo
// application, as far as the library needs them: where the system library
// lies (a bookmark in the application's preferences), opening a library by
// its URL, fetching its assets by identifier, and asking it to delete them.
//
// On Linux no photo service exists: the default instance has no
// preferences, resolves no bookmark and opens no library. Tests and hosts
// install their own with setShared().
//
// Threading: shared() and setShared() may be called from any thread; a
// service and its library objects must accept calls from any one thread at
// a time. Completion handlers may arrive on any thread.
//
//   auto service = platform::PhotoService::shared();
//   service->enableMultiLibraryMode();
//   if (auto library = service->openLibrary(platform::URL::fileURL(path), 0)) ...

#include "platform/PropertyList.h"
#include "platform/URL.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace platform {

// One asset of a library, as the service hands it out.
struct PhotoAsset {
    std::string uuid;
};

// A library opened by the service.
class PhotoLibraryHandle {
public:
    virtual ~PhotoLibraryHandle() = default;
    // The library's identifier; empty when the service could not read it,
    // which means the library is not usable.
    virtual std::string uuid() const = 0;
    // The objects of `entityName` with these identifiers. Nothing when the
    // service gave no result at all; an empty list when it found none.
    virtual std::optional<std::vector<PhotoAsset>> fetchObjects(const std::vector<std::string>& uuids,
                                                                const std::string& entityName) = 0;
    // Asks the service to delete `assets` (it may ask the user first). The
    // completion gets the success flag and, on failure, the service's error
    // text; it may come on any thread.
    virtual void deleteAssets(const std::vector<PhotoAsset>& assets,
                              std::function<void(bool success, const std::string& error)> completion) = 0;
};

class PhotoService {
public:
    virtual ~PhotoService() = default;

    // The value of a preference `key` of the application `applicationId`
    // for the current user and host; nothing when it is not set.
    virtual std::optional<PlistValue> preferenceValue(const std::string& applicationId, const std::string& key);
    // The URL a bookmark stands for; nothing when it can't be resolved.
    virtual std::optional<URL> resolveBookmark(const PlistValue::Data& bookmark);
    // Lets the service open libraries other than the system library.
    virtual void enableMultiLibraryMode();
    // A library object for `url` of the given type; null when the service
    // can't make one.
    virtual std::shared_ptr<PhotoLibraryHandle> openLibrary(const URL& url, int type);
    // The service's authorization status for `accessLevel` (0 not
    // determined, 1 restricted, 2 denied, 3 authorized, 4 limited).
    virtual int authorizationStatus(int accessLevel);

    // The installed service; never null.
    static std::shared_ptr<PhotoService> shared();
    // Installs `service` (null restores the default).
    static void setShared(std::shared_ptr<PhotoService> service);
};

}  // namespace platform
