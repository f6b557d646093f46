#pragma once
// AppVender: the vendors the host sorts applications under, with their
// display names as raw values. The spelling "Vender" is the exported one.
//
//   Core::rawValue(Core::AppVender::adobe);      // "Adobe"
//   Core::appVender("Ox.Merl");                  // AppVender::oxmerl

#include <optional>
#include <string_view>

namespace Core {

enum class AppVender {
    obdev,
    cleverFiles,
    adobe,
    box,
    corel,
    devonThink,
    dymo,
    epson,
    intego,
    microsoft,
    skylum,
    wacom,
    jetBrains,
    apple,
    google,
    oxmerl,
    other,
};

// The vendor's name, e.g. "Objective Development" for obdev.
std::string_view rawValue(AppVender vender);
// The vendor whose raw value is exactly `raw`; nothing for any other text.
std::optional<AppVender> appVender(std::string_view raw);

}  // namespace Core
