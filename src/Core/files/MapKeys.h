#pragma once
// mapKeys: a map with the same values under transformed keys. The
// transform may throw; the exception reaches the caller and no map is
// returned. Two keys that transform to one keep the value met first in the
// map's order.
//
// Threading: a pure function.
//
//   std::map<std::string, int> byName{{"a", 1}};
//   auto byLength = Core::mapKeys(byName, [](const std::string& k) { return k.size(); });

#include <type_traits>
#include <utility>

namespace Core {

template <template <class...> class Map, class Key, class Value, class... Rest, class Transform>
auto mapKeys(const Map<Key, Value, Rest...>& map, Transform&& transform)
    -> Map<std::decay_t<std::invoke_result_t<Transform&, const Key&>>, Value> {
    Map<std::decay_t<std::invoke_result_t<Transform&, const Key&>>, Value> result;
    for (const auto& [key, value] : map) result.emplace(transform(key), value);
    return result;
}

}  // namespace Core
