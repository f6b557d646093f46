#include "Core/apps/PublicSuffixList.h"

#include "Core/apps/internal/OptionalResource.h"
#include "platform/Strings.h"

#include <vector>

namespace Core {

const PublicSuffixList& PublicSuffixList::shared() {
    static const PublicSuffixList* instance = new PublicSuffixList(
        internal::readOptionalResource("public_suffix_list", "dat", "no organizations").value_or(""));
    return *instance;
}

PublicSuffixList::PublicSuffixList(std::string_view text) {
    for (std::string_view line : platform::splitNonEmpty(text, '\n')) {
        line = line.substr(0, line.find_first_of(" \t\r"));
        if (line.empty() || line.starts_with("//")) continue;
        addRule(line);
    }
}

void PublicSuffixList::addRule(std::string_view rule) {
    auto labels = platform::splitNonEmpty(rule, '.');
    if (labels.empty()) return;
    PublicSuffixRule* node = nullptr;
    for (auto label = labels.rbegin(); label != labels.rend(); ++label) {
        const bool last = label + 1 == labels.rend();
        if (last && label->starts_with('!')) {
            // An exception names a label under the node above it.
            if (node == nullptr || label->size() == 1) return;
            if (!node->exclude) node->exclude.emplace();
            node->exclude->insert(platform::lowercase(label->substr(1)));
            return;
        }
        PublicSuffixRule::Children* children = &_publicSuffixRules;
        if (node != nullptr) {
            if (!node->next) node->next.emplace();
            children = &*node->next;
        }
        auto& slot = (*children)[platform::lowercase(*label)];
        if (!slot) slot = std::make_unique<PublicSuffixRule>();
        node = slot.get();
        if (last) node->isThis = true;
    }
}

std::optional<std::string> PublicSuffixList::organizationName(std::string_view id) const {
    const auto pieces = platform::splitNonEmpty(id, '.');
    if (pieces.size() < 2) return std::nullopt;
    auto top = _publicSuffixRules.find(platform::lowercase(pieces[0]));
    if (top == _publicSuffixRules.end()) return std::nullopt;
    const PublicSuffixRule* node = top->second.get();
    size_t current = 1;
    for (;;) {
        if (!node->next) break;
        auto child = node->next->find(platform::lowercase(pieces[current]));
        if (child == node->next->end()) break;
        node = child->second.get();
        if (++current == pieces.size()) return std::nullopt;
    }
    if (!node->exclude) {
        if (node->isThis) return std::string(pieces[current]);
        return std::nullopt;
    }
    if (!node->exclude->contains(platform::lowercase(pieces[current]))) return std::string(pieces[current]);
    if (current + 1 < pieces.size()) return std::string(pieces[current + 1]);
    return std::nullopt;
}

}  // namespace Core
