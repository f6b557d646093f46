#include "Core/foundation/AppFile.h"

#include <array>
#include <utility>

namespace Core {

namespace {

constexpr std::array<std::pair<const char*, AppFileKind::Case>, 12> kRawValues{{
    {"log", AppFileKind::Case::log},
    {"cache", AppFileKind::Case::cache},
    {"container", AppFileKind::Case::container},
    {"support", AppFileKind::Case::support},
    {"preference", AppFileKind::Case::preference},
    {"cookie", AppFileKind::Case::cookie},
    {"library", AppFileKind::Case::library},
    {"loginItems", AppFileKind::Case::loginItems},
    {"crashReports", AppFileKind::Case::crashReports},
    {"plugins", AppFileKind::Case::plugins},
    {"shared", AppFileKind::Case::shared},
    {"preferencePanes", AppFileKind::Case::preferencePanes},
}};

}  // namespace

AppFileKind AppFileKind::fromRawValue(const std::string& raw) {
    for (const auto& [text, kindCase] : kRawValues)
        if (raw == text) return AppFileKind(kindCase);
    return other(raw);
}

std::string AppFileKind::rawValue() const {
    if (_case == Case::other) return _other;
    return kRawValues[static_cast<size_t>(_case)].first;
}

size_t AppFileKind::hashValue() const {
    // The ordinal first; `other` then feeds its text.
    size_t h = std::hash<size_t>{}(static_cast<size_t>(_case));
    if (_case == Case::other) h ^= std::hash<std::string>{}(_other) + 0x9e3779b97f4a7c15ULL + (h << 6) + (h >> 2);
    return h;
}

AppFile File::toAppFile(const AppFileKind& kind) const {
    return AppFile(_url, _size, kind, App::macApp(MacAppID::bundleID(CaseInsensitiveString(""))));
}

}  // namespace Core
