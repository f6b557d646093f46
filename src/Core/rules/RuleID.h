#pragma once
// RuleID: what a rule of the document applies to: one application
// (`bundleID`, without regard to case), every application whose identifier
// an expression finds (`bundleIDRegex`), every application (`base`), or no
// application (`black`, and `system` at the highest priority), whose paths
// only claim files away from lower rules.
//
// Threading: an immutable value; copy and share freely.
//
//   auto id = Core::RuleID::parse("*com\\.example\\..*");   // bundleIDRegex
//   id->basePriority();                                     // 3

#include "Core/foundation/CaseInsensitiveString.h"
#include "platform/Regex.h"

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace Core {

class RuleID {
public:
    enum class Case : unsigned char { bundleID, bundleIDRegex, base, black, system };

    static RuleID bundleID(CaseInsensitiveString id) { return RuleID(Storage(std::move(id))); }
    static RuleID bundleIDRegex(platform::Regex re) { return RuleID(Storage(std::move(re))); }
    static RuleID base() { return RuleID(Storage(Tag<Case::base>{})); }
    static RuleID black() { return RuleID(Storage(Tag<Case::black>{})); }
    static RuleID system() { return RuleID(Storage(Tag<Case::system>{})); }

    // A rule key: "" gives nothing; "*" base; "*text" the pattern "^text$"
    // (nothing when it doesn't compile); "@" black; "#" system; any other
    // text one bundle identifier.
    static std::optional<RuleID> parse(std::string_view text);

    Case ruleCase() const { return static_cast<Case>(_value.index()); }
    const CaseInsensitiveString& identifier() const { return std::get<CaseInsensitiveString>(_value); }
    const platform::Regex& expression() const { return std::get<platform::Regex>(_value); }

    // B of the default priorities: system 9, bundleID 4, bundleIDRegex 3,
    // black 2, base 1.
    int basePriority() const;

    friend bool operator==(const RuleID& a, const RuleID& b) { return a._value == b._value; }
    size_t hashValue() const;

private:
    template <Case C>
    struct Tag {
        friend bool operator==(Tag, Tag) { return true; }
    };
    using Storage = std::variant<CaseInsensitiveString, platform::Regex, Tag<Case::base>, Tag<Case::black>,
                                 Tag<Case::system>>;
    explicit RuleID(Storage value) : _value(std::move(value)) {}
    Storage _value;
};

}  // namespace Core

template <>
struct std::hash<Core::RuleID> {
    size_t operator()(const Core::RuleID& r) const noexcept { return r.hashValue(); }
};
