#include "Core/apps/AppGroup.h"

#include <array>
#include <string_view>
#include <utility>

namespace Core {

namespace {

constexpr std::array<std::pair<AppGroup::Case, std::string_view>, 16> kFixedNames{{
    {AppGroup::Case::cleverFiles, "CleverFiles"},
    {AppGroup::Case::adobeCommon, "Creative Cloud"},
    {AppGroup::Case::flashPlayer, "Flash Player"},
    {AppGroup::Case::box, "Box"},
    {AppGroup::Case::corel, "Corel"},
    {AppGroup::Case::devonThink, "DEVONthink"},
    {AppGroup::Case::dymo, "DYMO"},
    {AppGroup::Case::epson, "Epson"},
    {AppGroup::Case::intego, "Intego"},
    {AppGroup::Case::microsoftOffice, "Microsoft Office"},
    {AppGroup::Case::skylum, "Skylum"},
    {AppGroup::Case::wacom, "Wacom"},
    {AppGroup::Case::drFone, "Dr.Fone"},
    {AppGroup::Case::bitdefender, "Bitdefender"},
    {AppGroup::Case::anaconda, "Anaconda-Navigator"},
    {AppGroup::Case::sophos, "Sophos"},
}};

}  // namespace

AppGroup AppGroup::other(std::string name, std::optional<platform::URL> url) {
    AppGroup group(Case::other);
    group._name = std::move(name);
    group._url = std::move(url);
    return group;
}

AppGroup AppGroup::named(const std::string& name) {
    for (const auto& [c, fixed] : kFixedNames)
        if (fixed == name) return AppGroup(c);
    return other(name);
}

std::string AppGroup::groupName() const {
    if (_case == Case::other) return _name;
    for (const auto& [c, fixed] : kFixedNames)
        if (c == _case) return std::string(fixed);
    return _name;
}

}  // namespace Core
