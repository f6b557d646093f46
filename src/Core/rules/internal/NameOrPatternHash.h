#pragma once
// The hash shared by Matcher and RuleID: both hold a name, a pattern or a
// plain case in a variant, and are equal when their variants are.

#include "Core/foundation/CaseInsensitiveString.h"
#include "platform/Regex.h"

#include <cstddef>
#include <variant>

namespace Core::internal {

template <class... Alternatives>
size_t nameOrPatternHash(const std::variant<Alternatives...>& value) {
    const size_t h = value.index() * 0x9e3779b97f4a7c15ULL;
    if (const auto* name = std::get_if<CaseInsensitiveString>(&value)) return h ^ name->hashValue();
    if (const auto* pattern = std::get_if<platform::Regex>(&value)) return h ^ pattern->hashValue();
    return h;
}

}  // namespace Core::internal
