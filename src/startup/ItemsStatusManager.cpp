#include "startup/ItemsStatusManager.h"

#include "startup/SpecialLoginItems.h"
#include "startup/internal/LaunchTools.h"

#include <algorithm>

namespace Core {

namespace {

// The line breaks that end a line of text: LF, VT, FF, CR, NEL, LS, PS.
// Gives the length of the break at `i`, or 0.
size_t lineBreakAt(std::string_view text, size_t i) {
    const unsigned char c = static_cast<unsigned char>(text[i]);
    if (c >= 0x0A && c <= 0x0D) return 1;
    if (c == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) == 0x85) return 2;
    if (c == 0xE2 && i + 2 < text.size() && static_cast<unsigned char>(text[i + 1]) == 0x80) {
        const unsigned char last = static_cast<unsigned char>(text[i + 2]);
        if (last == 0xA8 || last == 0xA9) return 3;
    }
    return 0;
}

// Quotes and tabs go first, then "=>" becomes ":" (so "=\t>" becomes one).
std::string normalise(std::string_view output) {
    std::string text;
    text.reserve(output.size());
    for (char c : output)
        if (c != '"' && c != '\t') text.push_back(c);
    std::string result;
    result.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '=' && i + 1 < text.size() && text[i + 1] == '>') {
            result.push_back(':');
            ++i;
        } else {
            result.push_back(text[i]);
        }
    }
    return result;
}

void parseLine(std::string_view line, std::string_view disabledWord, ItemsStatusManager::DisabledItems& items) {
    const size_t colon = line.find(':');
    if (colon == std::string_view::npos || line.find(':', colon + 1) != std::string_view::npos) return;
    const std::string_view key = internal::trimWhitespace(line.substr(0, colon));
    const std::string_view value = internal::trimWhitespace(line.substr(colon + 1));
    items[std::string(key)] = value == disabledWord;
}

}  // namespace

ItemsStatusManager& ItemsStatusManager::shared() {
    static ItemsStatusManager* instance = new ItemsStatusManager();  // never destroyed: readers may outlive exit
    return *instance;
}

ItemsStatusManager::ItemsStatusManager() { refresh(); }

std::string_view ItemsStatusManager::disabledWord(const platform::OperatingSystemVersion& version) {
    return version.majorVersion >= 13 ? "disabled" : "true";
}

ItemsStatusManager::DisabledItems ItemsStatusManager::parseDisabledItems(std::string_view output,
                                                                         std::string_view disabledWord) {
    DisabledItems items;
    const std::string text = normalise(output);
    const std::string_view view = text;
    size_t start = 0;
    for (size_t i = 0; i < view.size();) {
        if (size_t length = lineBreakAt(view, i)) {
            parseLine(view.substr(start, i - start), disabledWord, items);
            i += length;
            start = i;
        } else {
            ++i;
        }
    }
    parseLine(view.substr(start), disabledWord, items);
    return items;
}

void ItemsStatusManager::refresh() {
    DisabledItems disabled;
    constexpr std::string_view purpose = "reading the disabled labels";
    if (auto uid = internal::currentUserNumber(purpose)) {
        if (auto output = internal::runLaunchTool(internal::kLaunchctlTool, {"print-disabled", "user/" + *uid}, purpose))
            disabled = parseDisabledItems(*output, disabledWord(platform::operatingSystemVersion()));
    }

    auto special = sessionLoginItemURLs();

    std::lock_guard lock(_mutex);
    _disabledItemsDict = std::move(disabled);
    _specialAPPStatusDict = std::move(special);
}

ItemsStatusManager::DisabledItems ItemsStatusManager::disabledItemsDict() const {
    std::lock_guard lock(_mutex);
    return _disabledItemsDict;
}

std::optional<bool> ItemsStatusManager::disabledEntry(const std::string& label) const {
    std::lock_guard lock(_mutex);
    auto found = _disabledItemsDict.find(label);
    if (found == _disabledItemsDict.end()) return std::nullopt;
    return found->second;
}

std::optional<std::vector<platform::URL>> ItemsStatusManager::specialAPPStatusDict() const {
    std::lock_guard lock(_mutex);
    return _specialAPPStatusDict;
}

bool ItemsStatusManager::containsSpecialApp(const platform::URL& url) const {
    std::lock_guard lock(_mutex);
    return _specialAPPStatusDict && std::find(_specialAPPStatusDict->begin(), _specialAPPStatusDict->end(), url) !=
                                        _specialAPPStatusDict->end();
}

}  // namespace Core
