#include "Core/apps/AppVender.h"

#include <array>
#include <utility>

namespace Core {

namespace {

constexpr std::array<std::pair<AppVender, std::string_view>, 17> kRawValues{{
    {AppVender::obdev, "Objective Development"},
    {AppVender::cleverFiles, "CleverFiles"},
    {AppVender::adobe, "Adobe"},
    {AppVender::box, "Box"},
    {AppVender::corel, "Corel"},
    {AppVender::devonThink, "DEVONthink"},
    {AppVender::dymo, "DYMO"},
    {AppVender::epson, "Epson"},
    {AppVender::intego, "Intego"},
    {AppVender::microsoft, "Microsoft"},
    {AppVender::skylum, "Skylum"},
    {AppVender::wacom, "Wacom"},
    {AppVender::jetBrains, "JetBrains"},
    {AppVender::apple, "Apple"},
    {AppVender::google, "Google"},
    {AppVender::oxmerl, "Ox.Merl"},
    {AppVender::other, "Other"},
}};

}  // namespace

std::string_view rawValue(AppVender vender) {
    for (const auto& [v, raw] : kRawValues)
        if (v == vender) return raw;
    return "Other";
}

std::optional<AppVender> appVender(std::string_view raw) {
    for (const auto& [v, text] : kRawValues)
        if (text == raw) return v;
    return std::nullopt;
}

}  // namespace Core
