#pragma once
// MacApp: what a scan knows of one installed application. Several scan
// threads add to its identifiers at once, so `bundleIDs` is read
// synchronously and written asynchronously on a private serial queue: take
// a copy, insert into the copy, assign the copy back. The write holds the
// instance weakly and does nothing once it is gone. `urls` and
// `bundleNames` are not guarded.
//
//   auto app = Core::MacApp::make("com.example.Notes", std::nullopt);
//   auto ids = app->bundleIDs(); ids.insert("com.example.Notes.helper"); app->setBundleIDs(ids);

#include "Core/foundation/CaseInsensitiveString.h"
#include "platform/Dispatch.h"
#include "platform/URL.h"

#include <memory>
#include <optional>
#include <unordered_set>
#include <vector>

namespace Core {

class MacApp : public std::enable_shared_from_this<MacApp> {
public:
    using IDSet = std::unordered_set<CaseInsensitiveString>;

    static std::shared_ptr<MacApp> make(CaseInsensitiveString bundleID, std::optional<CaseInsensitiveString> organization);
    // Use make(): the asynchronous write holds the instance weakly.
    MacApp(CaseInsensitiveString bundleID, std::optional<CaseInsensitiveString> organization);

    const CaseInsensitiveString& bundleID() const { return _bundleID; }
    const std::optional<CaseInsensitiveString>& organization() const { return _organization; }

    IDSet bundleIDs() const;
    void setBundleIDs(IDSet ids);

    std::vector<platform::URL> urls;
    IDSet bundleNames;

    const std::string& queueLabel() const { return _lockQueue->label(); }

private:
    CaseInsensitiveString _bundleID;
    std::optional<CaseInsensitiveString> _organization;
    IDSet _bundleIDs;  // guarded by _lockQueue
    platform::dispatch::QueuePtr _lockQueue;
};

}  // namespace Core
