#pragma once
// PropertyList: a property list (XML or binary) parsed into a small tree of
// values. It stands in for the platform's property-list objects wherever the
// library reads a blob or a file of that format: keys of a dictionary, items
// of an array, and the scalar kinds (boolean, integer, real, string, data,
// date, uid).
//
// Threading: the functions are pure and may run on any thread; a parsed
// tree is a plain value.
//
//   auto root = platform::parsePropertyList(blob);
//   if (root) if (const auto* v = root->find("PLModelVersion")) version = v->number().value_or(0);

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace platform {

class PlistValue {
public:
    enum class Kind { boolean, integer, real, string, data, date, uid, array, dictionary };

    using Data = std::vector<uint8_t>;
    using Array = std::vector<PlistValue>;
    // Entries in the order the document gives them.
    using Dictionary = std::vector<std::pair<std::string, PlistValue>>;
    // A date as seconds since 1970.
    struct Date {
        double secondsSince1970 = 0;
    };
    struct Uid {
        uint64_t value = 0;
    };

    PlistValue() : _value(Dictionary{}) {}
    PlistValue(bool v) : _value(v) {}                 // NOLINT: values convert as in a literal tree
    PlistValue(int v) : _value(int64_t(v)) {}         // NOLINT
    PlistValue(int64_t v) : _value(v) {}              // NOLINT
    PlistValue(double v) : _value(v) {}               // NOLINT
    PlistValue(std::string v) : _value(std::move(v)) {}  // NOLINT
    PlistValue(const char* v) : _value(std::string(v)) {}  // NOLINT
    PlistValue(Data v) : _value(std::move(v)) {}      // NOLINT
    PlistValue(Date v) : _value(v) {}                 // NOLINT
    PlistValue(Uid v) : _value(v) {}                  // NOLINT
    PlistValue(Array v) : _value(std::move(v)) {}     // NOLINT
    PlistValue(Dictionary v) : _value(std::move(v)) {}  // NOLINT

    Kind kind() const { return static_cast<Kind>(_value.index()); }

    // Each gives null when the value is of another kind.
    const bool* boolean() const { return std::get_if<bool>(&_value); }
    const int64_t* integer() const { return std::get_if<int64_t>(&_value); }
    const double* real() const { return std::get_if<double>(&_value); }
    const std::string* string() const { return std::get_if<std::string>(&_value); }
    const Data* data() const { return std::get_if<Data>(&_value); }
    const Date* date() const { return std::get_if<Date>(&_value); }
    const Uid* uid() const { return std::get_if<Uid>(&_value); }
    const Array* array() const { return std::get_if<Array>(&_value); }
    const Dictionary* dictionary() const { return std::get_if<Dictionary>(&_value); }

    // A boolean, integer or real read as a number (a boolean is 0 or 1, as
    // the platform's number objects read it); nothing for other kinds.
    std::optional<double> number() const;
    // The value under `key` of a dictionary; null when this is no
    // dictionary or the key is absent.
    const PlistValue* find(std::string_view key) const;

private:
    // The order matches Kind.
    std::variant<bool, int64_t, double, std::string, Data, Date, Uid, Array, Dictionary> _value;
};

// Parses XML or binary property-list bytes. Gives nothing when the bytes are
// no property list, or the property-list library is missing; never throws
// on bad input.
std::optional<PlistValue> parsePropertyList(std::string_view bytes);
// Reads and parses a file; nothing when it can't be read or parsed.
std::optional<PlistValue> readPropertyListFile(const std::string& path);
// The XML form of a tree (what tests and fixture builders write). Both
// forms throw std::runtime_error when the property-list library is missing.
std::string toXmlPropertyList(const PlistValue& value);
// The binary form of a tree.
std::string toBinaryPropertyList(const PlistValue& value);

}  // namespace platform
