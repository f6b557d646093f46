#pragma once
// ItemsStatusManager: which launchd labels the system has marked disabled for
// the current user, and which applications are in the session's login items
// list. One shared object, filled on first use and again at each refresh().
//
// The labels come from "/bin/launchctl print-disabled user/<uid>" (the user
// number from "/usr/bin/id -u"), both looked up under the layout's root.
// Where either tool is missing (the Linux default has no launchctl) the
// dictionary is empty and the log says why.
//
// Threading: any thread. refresh() runs the tools without holding the lock
// and swaps the new state in, so readers never wait for a tool.
//
//   auto& status = Core::ItemsStatusManager::shared();
//   status.refresh();
//   if (auto disabled = status.disabledEntry("com.example.agent")) use(!*disabled);

#include "platform/SystemVersion.h"
#include "platform/URL.h"

#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace Core {

class ItemsStatusManager {
public:
    using DisabledItems = std::unordered_map<std::string, bool>;

    // The one instance; the first call fills it (and so runs the tools).
    static ItemsStatusManager& shared();

    // Reads the disabled labels and the login items list again.
    void refresh();

    // Label -> whether it is disabled.
    DisabledItems disabledItemsDict() const;
    // The entry of one label: true when disabled; nothing when not listed.
    std::optional<bool> disabledEntry(const std::string& label) const;
    // The URLs of the session login items list; nothing when the list
    // couldn't be read.
    std::optional<std::vector<platform::URL>> specialAPPStatusDict() const;
    // Whether the login items list holds `url` (compared by path).
    bool containsSpecialApp(const platform::URL& url) const;

    // The word that marks a label disabled in print-disabled output: from
    // version 13 on "disabled" (beside "enabled"), before that "true"
    // (beside "false").
    static std::string_view disabledWord(const platform::OperatingSystemVersion& version);

    // Parses print-disabled output: quotes and tabs removed, "=>" read as
    // ":", then each line split at ":"; a line of exactly two parts gives
    // its trimmed first part as key, and as value whether the trimmed
    // second part is `disabledWord`. Other lines are skipped; a later line
    // wins over an earlier one with the same key. Never throws on any bytes.
    static DisabledItems parseDisabledItems(std::string_view output, std::string_view disabledWord);

private:
    ItemsStatusManager();

    mutable std::mutex _mutex;
    DisabledItems _disabledItemsDict;
    std::optional<std::vector<platform::URL>> _specialAPPStatusDict;
};

}  // namespace Core
