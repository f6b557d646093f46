#pragma once
// IOSAppUUIDMapper: which UUID-named container folders belong to which
// bundle identifier. Wrapped iOS applications keep their data in folders
// named by a generated UUID; the folder's
// ".com.apple.containermanagerd.metadata.plist" names the owner under
// "MCMMetadataIdentifier". The mapper reads the user's "Containers",
// "Application Scripts" and "Preferences" folders (under the layout's user
// library) once, on the first lookup after construction or clear(), and
// passes by every folder whose name is no UUID (8-4-4-4-12 hexadecimal
// digits), that holds no such list, or whose list lacks the key.
//
// Threading: every call may come from any thread; `_lock` guards the map.
//
//   Core::IOSAppUUIDMapper mapper;
//   for (const auto& uuid : mapper.uuidNames("com.example.Game")) use(uuid);

#include "Core/foundation/CaseInsensitiveString.h"
#include "platform/URL.h"

#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Core {

class IOSAppUUIDMapper {
public:
    // One container folder of an application.
    struct Container {
        std::string uuid;    // the folder's name
        platform::URL url;   // the folder
    };
    using Map = std::unordered_map<CaseInsensitiveString, std::vector<Container>>;

    // Reads below platform::Layout::shared().userLibrary() as it is at the
    // time of the fill, or below `userLibrary` when one is given.
    explicit IOSAppUUIDMapper(std::optional<std::string> userLibrary = std::nullopt);

    // The UUID names of the containers that `bundleID` owns (matched without
    // regard to case), each once, in name order; empty when it owns none.
    std::vector<std::string> uuidNames(const CaseInsensitiveString& bundleID);
    // A copy of the whole map (filled first if needed).
    Map uuids();
    // Forgets what was read; the next lookup reads the folders again.
    void clear();

    // True for 8-4-4-4-12 hexadecimal digits, in either case.
    static bool isUUID(std::string_view name);

private:
    void fillLocked();

    std::optional<std::string> _userLibrary;
    std::mutex _lock;
    bool _filled = false;  // guarded by _lock
    Map _uuids;            // guarded by _lock
};

}  // namespace Core
