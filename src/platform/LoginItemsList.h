#pragma once
// LoginItemsList: the session's login items, the applications that open when
// the user logs in. Stands in for the platform's shared file list of session
// login items: a property list at "<home>/Library/Preferences/loginitems.plist"
// of the layout, an array of file-URL strings, first item first. A missing
// file is an empty list.
//
// Threading: any thread. Each change reads, edits and rewrites the file under
// one process-wide lock and replaces it by a rename, so a reader never sees
// half a list. Changes made by another process between a read and a write
// are not merged.
//
//   if (auto list = platform::LoginItemsList::create()) {
//       list->insertItemBeforeFirst(platform::fileURLWithPath("/Applications/Notes.app"));
//       for (const auto& item : list->copySnapshot().value_or({})) use(item.urlString);
//   }

#include "platform/URL.h"

#include <optional>
#include <string>
#include <vector>

namespace platform {

class LoginItemsList {
public:
    // One entry of the list, as stored.
    struct Item {
        std::string urlString;
    };

    // The list of the layout's current home. Nothing when the home is unset,
    // or when the file exists but holds no array (a list that can't be read
    // must not be overwritten).
    static std::optional<LoginItemsList> create();

    const std::string& path() const { return _path; }

    // The entries in order, strings only; nothing when the file exists but
    // can't be read as an array.
    std::optional<std::vector<Item>> copySnapshot() const;

    // The file an entry stands for, as it is on disk now: nothing when the
    // text is no file URL ("file://" and an absolute, percent-encoded path)
    // or nothing exists there. Folders come back marked as folders.
    static std::optional<URL> resolvedURL(const Item& item);

    // Puts `url` (by its absoluteString) at the head of the list; an entry
    // with the same text moves there instead of appearing twice. False when
    // the list can't be read or written.
    bool insertItemBeforeFirst(const URL& url);

    // Removes every entry with the item's text. False when the list can't be
    // read or written; true also when nothing matched.
    bool removeItem(const Item& item);

private:
    explicit LoginItemsList(std::string path) : _path(std::move(path)) {}
    std::string _path;
};

// The file URL of a path, marked as a folder when the path is one on disk, as
// the platform makes file URLs from paths.
URL fileURLWithPath(const std::string& path);

}  // namespace platform
