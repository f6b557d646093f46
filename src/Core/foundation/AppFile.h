#pragma once
// What belongs to an application: the role of a file (`AppFileKind`, the
// `AppFile.Kind` of the rule documents), by which identifier an installed
// application was recognised (`MacAppID`), the owner (`App`), and the file
// record itself (`AppFile`). Plain values; they cross threads freely.
//
//   auto kind = Core::AppFileKind::fromRawValue("cache");   // the plain case
//   Core::AppFile f(url, 4096, kind, Core::App::app("com.example.gone"));

#include "Core/foundation/CaseInsensitiveString.h"
#include "Core/foundation/File.h"

#include <cstdint>
#include <functional>
#include <string>

namespace Core {

// Twelve plain cases and `other`, which carries the raw text it was made
// from. Conversion from text never fails and is exact in case.
class AppFileKind {
public:
    enum class Case : uint8_t {
        log,
        cache,
        container,
        support,
        preference,
        cookie,
        library,
        loginItems,
        crashReports,
        plugins,
        shared,
        preferencePanes,
        other,
    };

    AppFileKind(Case c) : _case(c) {}  // NOLINT: a case is a kind
    static AppFileKind other(std::string text) { return AppFileKind(Case::other, std::move(text)); }
    static AppFileKind fromRawValue(const std::string& raw);

    Case kindCase() const { return _case; }
    // The rule documents' key: "log" ... "preferencePanes", or the carried text.
    std::string rawValue() const;
    // The carried text of `other`; empty for the plain cases.
    const std::string& otherText() const { return _other; }

    friend bool operator==(const AppFileKind& a, const AppFileKind& b) {
        return a._case == b._case && a._other == b._other;
    }
    size_t hashValue() const;

private:
    AppFileKind(Case c, std::string text) : _case(c), _other(std::move(text)) {}
    Case _case;
    std::string _other;
};

// By which identifier a file was attributed to an installed application.
struct MacAppID {
    enum class Type : uint8_t { bundleID, bundleName, organization };
    Type type;
    CaseInsensitiveString id;

    static MacAppID bundleID(CaseInsensitiveString id) { return {Type::bundleID, std::move(id)}; }
    static MacAppID bundleName(CaseInsensitiveString id) { return {Type::bundleName, std::move(id)}; }
    static MacAppID organization(CaseInsensitiveString id) { return {Type::organization, std::move(id)}; }

    friend bool operator==(const MacAppID& a, const MacAppID& b) { return a.type == b.type && a.id == b.id; }
};

// The owner of a file: an installed application, or an identifier with no
// installed application (a leftover).
class App {
public:
    static App macApp(MacAppID id) { return App(true, std::move(id)); }
    static App app(CaseInsensitiveString id) { return App(false, {MacAppID::Type::bundleID, std::move(id)}); }

    bool isMacApp() const { return _installed; }
    // For `macApp`: how the application was recognised.
    const MacAppID& macAppID() const { return _id; }
    // The identifier, either way.
    const CaseInsensitiveString& id() const { return _id.id; }

    friend bool operator==(const App& a, const App& b) { return a._installed == b._installed && a._id == b._id; }

private:
    App(bool installed, MacAppID id) : _installed(installed), _id(std::move(id)) {}
    bool _installed;
    MacAppID _id;
};

class AppFile : public FileProtocol<AppFile> {
public:
    using Kind = AppFileKind;

    AppFile(platform::URL url, int64_t size, Kind kind, App owner)
        : _url(std::move(url)), _size(size), _kind(std::move(kind)), _owner(std::move(owner)) {}

    const platform::URL& url() const { return _url; }
    int64_t size() const { return _size; }
    void setSize(int64_t size) { _size = size; }
    const Kind& kind() const { return _kind; }
    const App& owner() const { return _owner; }

    // A copy with another kind; URL, size and owner kept.
    AppFile copyWith(const Kind& kind) const { return AppFile(_url, _size, kind, _owner); }

private:
    platform::URL _url;
    int64_t _size;
    Kind _kind;
    App _owner;
};

}  // namespace Core

template <>
struct std::hash<Core::AppFileKind> {
    size_t operator()(const Core::AppFileKind& k) const noexcept { return k.hashValue(); }
};
