#pragma once
// AppGroup: a display group of applications that the host shows and removes
// together. Every group but `other` is a fixed case with a fixed name;
// `other` carries its own name and an optional URL.
//
// A hashable plain value.
//
//   Core::AppGroup g(Core::AppGroup::Case::microsoftOffice);
//   g.groupName();                                   // "Microsoft Office"
//   Core::AppGroup::other("Dropbox").groupName();    // "Dropbox"

#include "platform/URL.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace Core {

class AppGroup {
public:
    enum class Case {
        other,
        cleverFiles,
        adobeCommon,
        flashPlayer,
        box,
        corel,
        devonThink,
        dymo,
        epson,
        intego,
        microsoftOffice,
        skylum,
        wacom,
        drFone,
        bitdefender,
        anaconda,
        sophos,
    };

    // A fixed group; for Case::other use other().
    explicit AppGroup(Case c) : _case(c) {}
    static AppGroup other(std::string name, std::optional<platform::URL> url = std::nullopt);
    // The fixed group whose name is exactly `name` (in the order of Case),
    // or `other` with that name.
    static AppGroup named(const std::string& name);

    Case groupCase() const { return _case; }
    std::string groupName() const;
    // The URL `other` carries; nothing for the fixed groups.
    const std::optional<platform::URL>& url() const { return _url; }

    friend bool operator==(const AppGroup& a, const AppGroup& b) {
        return a._case == b._case && a._name == b._name && a._url == b._url;
    }

private:
    Case _case;
    std::string _name;  // `other` only
    std::optional<platform::URL> _url;
};

}  // namespace Core

template <>
struct std::hash<Core::AppGroup> {
    size_t operator()(const Core::AppGroup& g) const noexcept {
        return std::hash<int>{}(static_cast<int>(g.groupCase())) * 31 + std::hash<std::string>{}(g.groupName());
    }
};
