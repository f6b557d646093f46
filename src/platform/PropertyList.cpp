#include "platform/PropertyList.h"

#include "platform/SharedLibrary.h"
#include "platform/internal/RegularFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <plist/plist.h>

#include <cstdlib>
#include <iterator>
#include <limits>
#include <memory>
#include <stdexcept>
#include <vector>

namespace platform {

namespace {

// The property-list library is opened on first use rather than linked: it
// brings the maths library with it, and most runs read no property list.
#define CORE_PLIST_FUNCTIONS(X)    \
    X(plist_array_append_item)     \
    X(plist_array_get_item)        \
    X(plist_array_get_size)        \
    X(plist_dict_new_iter)         \
    X(plist_dict_next_item)        \
    X(plist_dict_set_item)         \
    X(plist_free)                  \
    X(plist_from_memory)           \
    X(plist_get_bool_val)          \
    X(plist_get_data_val)          \
    X(plist_get_date_val)          \
    X(plist_get_node_type)         \
    X(plist_get_real_val)          \
    X(plist_get_string_ptr)        \
    X(plist_get_uid_val)           \
    X(plist_get_uint_val)          \
    X(plist_new_array)             \
    X(plist_new_bool)              \
    X(plist_new_data)              \
    X(plist_new_date)              \
    X(plist_new_dict)              \
    X(plist_new_real)              \
    X(plist_new_string)            \
    X(plist_new_uid)               \
    X(plist_new_uint)              \
    X(plist_to_xml)                \
    X(plist_to_xml_free)           \
    X(plist_to_bin)                \
    X(plist_to_bin_free)

struct PlistLibrary {
    CORE_PLIST_FUNCTIONS(CORE_FUNCTION_FIELD)
};

// Null when the library is missing; then no document parses and none can be
// written.
const PlistLibrary* sharedPlistLibrary() {
    return CORE_SHARED_FUNCTION_TABLE(PlistLibrary, CORE_PLIST_FUNCTIONS, "libplist-2.0.so.3", "Property lists");
}

// Asked for only where a node exists, so after the library was found.
const PlistLibrary& plist() { return *sharedPlistLibrary(); }

// Seconds between 1970 and 2001, the epoch of property-list dates.
constexpr double kReferenceDateOffset = 978307200.0;
// Deeper trees are refused rather than walked: a hostile document must not
// exhaust the stack.
constexpr int kMaxDepth = 256;
// Information lists, launchd jobs and photo metadata are small; anything far
// larger is no document the library reads.
constexpr size_t kMaxDocumentSize = size_t(64) << 20;

struct PlistDeleter {
    void operator()(plist_t node) const { plist().plist_free(node); }
};
using PlistPtr = std::unique_ptr<void, PlistDeleter>;

std::string takeString(char* text) {
    std::string out = text ? text : "";
    std::free(text);
    return out;
}

std::optional<PlistValue> fromNode(plist_t node, int depth) {
    if (!node || depth > kMaxDepth) return std::nullopt;
    switch (plist().plist_get_node_type(node)) {
    case PLIST_BOOLEAN: {
        uint8_t v = 0;
        plist().plist_get_bool_val(node, &v);
        return PlistValue(v != 0);
    }
    case PLIST_UINT: {
        uint64_t v = 0;
        plist().plist_get_uint_val(node, &v);
        // Negative integers are kept in two's complement by the parser.
        return PlistValue(static_cast<int64_t>(v));
    }
    case PLIST_REAL: {
        double v = 0;
        plist().plist_get_real_val(node, &v);
        return PlistValue(v);
    }
    case PLIST_STRING: {
        uint64_t length = 0;
        const char* text = plist().plist_get_string_ptr(node, &length);
        return PlistValue(std::string(text ? text : "", text ? length : 0));
    }
    case PLIST_DATA: {
        char* bytes = nullptr;
        uint64_t length = 0;
        plist().plist_get_data_val(node, &bytes, &length);
        PlistValue::Data data(bytes, bytes + (bytes ? length : 0));
        std::free(bytes);
        return PlistValue(std::move(data));
    }
    case PLIST_DATE: {
        int32_t sec = 0, usec = 0;
        plist().plist_get_date_val(node, &sec, &usec);
        return PlistValue(PlistValue::Date{kReferenceDateOffset + sec + usec / 1e6});
    }
    case PLIST_UID: {
        uint64_t v = 0;
        plist().plist_get_uid_val(node, &v);
        return PlistValue(PlistValue::Uid{v});
    }
    case PLIST_ARRAY: {
        PlistValue::Array items;
        uint32_t count = plist().plist_array_get_size(node);
        items.reserve(count);
        for (uint32_t i = 0; i < count; ++i) {
            auto item = fromNode(plist().plist_array_get_item(node, i), depth + 1);
            if (!item) return std::nullopt;
            items.push_back(std::move(*item));
        }
        return PlistValue(std::move(items));
    }
    case PLIST_DICT: {
        PlistValue::Dictionary entries;
        plist_dict_iter iter = nullptr;
        plist().plist_dict_new_iter(node, &iter);
        if (!iter) return std::nullopt;
        for (;;) {
            char* key = nullptr;
            plist_t value = nullptr;
            plist().plist_dict_next_item(node, iter, &key, &value);
            if (!value) {
                std::free(key);
                break;
            }
            std::string name = takeString(key);
            auto item = fromNode(value, depth + 1);
            if (!item) {
                std::free(iter);
                return std::nullopt;
            }
            entries.emplace_back(std::move(name), std::move(*item));
        }
        std::free(iter);
        return PlistValue(std::move(entries));
    }
    default:
        return std::nullopt;
    }
}

plist_t toNode(const PlistValue& value) {
    switch (value.kind()) {
    case PlistValue::Kind::boolean: return plist().plist_new_bool(*value.boolean() ? 1 : 0);
    case PlistValue::Kind::integer: return plist().plist_new_uint(static_cast<uint64_t>(*value.integer()));
    case PlistValue::Kind::real: return plist().plist_new_real(*value.real());
    case PlistValue::Kind::string: return plist().plist_new_string(value.string()->c_str());
    case PlistValue::Kind::data: {
        const auto& data = *value.data();
        return plist().plist_new_data(reinterpret_cast<const char*>(data.data()), data.size());
    }
    case PlistValue::Kind::date: {
        double since2001 = value.date()->secondsSince1970 - kReferenceDateOffset;
        // Whole seconds toward the past, without the maths library.
        double whole = static_cast<double>(static_cast<int64_t>(since2001));
        if (whole > since2001) whole -= 1.0;
        return plist().plist_new_date(static_cast<int32_t>(whole), static_cast<int32_t>((since2001 - whole) * 1e6));
    }
    case PlistValue::Kind::uid: return plist().plist_new_uid(value.uid()->value);
    case PlistValue::Kind::array: {
        plist_t node = plist().plist_new_array();
        for (const auto& item : *value.array()) plist().plist_array_append_item(node, toNode(item));
        return node;
    }
    case PlistValue::Kind::dictionary: {
        plist_t node = plist().plist_new_dict();
        for (const auto& [key, item] : *value.dictionary()) plist().plist_dict_set_item(node, key.c_str(), toNode(item));
        return node;
    }
    }
    return plist().plist_new_dict();
}

uint64_t bigEndian(const unsigned char* bytes, size_t count) {
    uint64_t value = 0;
    for (size_t i = 0; i < count; ++i) value = value << 8 | bytes[i];
    return value;
}

// The parser aborts on strings that hold a NUL character when their text is
// read, so such documents are refused before they reach it. In the binary
// form every string object of the offset table is looked at; what does not
// fit the file is left to the parser, which refuses it.
bool holdsNulInString(std::string_view doc) {
    if (doc.substr(0, 6) != "bplist") {
        // XML: a character reference to NUL ("&#0;", "&#x00;", ...).
        for (size_t at = doc.find("&#"); at != std::string_view::npos; at = doc.find("&#", at + 2)) {
            size_t i = at + 2;
            if (i < doc.size() && (doc[i] == 'x' || doc[i] == 'X')) ++i;
            size_t digits = i;
            while (i < doc.size() && doc[i] == '0') ++i;
            if (i > digits && i < doc.size() && doc[i] == ';') return true;
        }
        return false;
    }
    if (doc.size() < 8 + 32) return false;
    auto bytes = reinterpret_cast<const unsigned char*>(doc.data());
    const unsigned char* trailer = bytes + doc.size() - 32;
    size_t offsetSize = trailer[6];
    uint64_t objects = bigEndian(trailer + 8, 8), tableAt = bigEndian(trailer + 24, 8);
    if (offsetSize == 0 || offsetSize > 8 || tableAt >= doc.size() ||
        objects > (doc.size() - tableAt) / offsetSize)
        return false;
    for (uint64_t n = 0; n < objects; ++n) {
        uint64_t at = bigEndian(bytes + tableAt + n * offsetSize, offsetSize);
        if (at >= doc.size()) continue;
        unsigned marker = bytes[at] >> 4;
        if (marker != 0x5 && marker != 0x6) continue;  // ASCII and UTF-16 strings
        uint64_t length = bytes[at] & 0x0F;
        uint64_t start = at + 1;
        if (length == 0x0F) {
            if (start >= doc.size() || (bytes[start] >> 4) != 0x1) continue;
            size_t width = size_t(1) << (bytes[start] & 0x0F);
            if (width > 8 || start + 1 + width > doc.size()) continue;
            length = bigEndian(bytes + start + 1, width);
            start += 1 + width;
        }
        size_t unit = marker == 0x6 ? 2 : 1;
        if (length > (doc.size() - start) / unit) continue;
        for (uint64_t i = 0; i < length; ++i) {
            const unsigned char* c = bytes + start + i * unit;
            if (c[0] == 0 && (unit == 1 || c[1] == 0)) return true;
        }
    }
    return false;
}

// The parser recurses once per level of nesting and checks every reference
// against all the objects above it, so a hostile document of a hundred
// thousand nested arrays costs minutes and then the stack. The nesting is
// measured here first, without recursion, and deep or cyclic documents are
// refused before the parser sees them.
bool nestsTooDeep(std::string_view doc) {
    if (doc.substr(0, 6) != "bplist") {
        // XML: count open container elements; "<array/>" and "<dict/>" hold nothing.
        int depth = 0;
        for (size_t at = doc.find('<'); at != std::string_view::npos; at = doc.find('<', at + 1)) {
            std::string_view tag = doc.substr(at + 1);
            bool closing = !tag.empty() && tag[0] == '/';
            if (closing) tag.remove_prefix(1);
            size_t nameLength = tag.starts_with("array") ? 5 : tag.starts_with("dict") ? 4 : 0;
            if (nameLength == 0 || tag.size() <= nameLength) continue;
            char next = tag[nameLength];
            if (next == '/') continue;
            if (next != '>' && next != ' ' && next != '\t' && next != '\n' && next != '\r') continue;
            depth += closing ? -1 : 1;
            if (depth > kMaxDepth) return true;
        }
        return false;
    }
    if (doc.size() < 8 + 32) return false;
    auto bytes = reinterpret_cast<const unsigned char*>(doc.data());
    const unsigned char* trailer = bytes + doc.size() - 32;
    size_t offsetSize = trailer[6], refSize = trailer[7];
    uint64_t objects = bigEndian(trailer + 8, 8), top = bigEndian(trailer + 16, 8), tableAt = bigEndian(trailer + 24, 8);
    // What does not fit is left to the parser, which refuses it.
    if (offsetSize == 0 || offsetSize > 8 || refSize == 0 || refSize > 8 || tableAt >= doc.size() ||
        objects > (doc.size() - tableAt) / offsetSize || top >= objects)
        return false;

    // The references held by container `n` (arrays, sets, and the values and
    // keys of dictionaries); empty for scalars and for what does not fit.
    auto references = [&](uint64_t n) -> std::pair<uint64_t, uint64_t> {  // first byte, count
        uint64_t at = bigEndian(bytes + tableAt + n * offsetSize, offsetSize);
        if (at >= doc.size()) return {0, 0};
        unsigned marker = bytes[at] >> 4;
        if (marker != 0xA && marker != 0xC && marker != 0xD) return {0, 0};
        uint64_t count = bytes[at] & 0x0F, start = at + 1;
        if (count == 0x0F) {
            if (start >= doc.size() || (bytes[start] >> 4) != 0x1) return {0, 0};
            size_t width = size_t(1) << (bytes[start] & 0x0F);
            if (width > 8 || start + 1 + width > doc.size()) return {0, 0};
            count = bigEndian(bytes + start + 1, width);
            start += 1 + width;
        }
        if (marker == 0xD) count = count > UINT64_MAX / 2 ? UINT64_MAX : count * 2;
        if (count > (doc.size() - start) / refSize) return {0, 0};
        return {start, count};
    };

    // Depth-first from the top object with an explicit stack. A reference to
    // an object on the current path is a cycle; a finished object is not
    // walked again, so shared objects cost nothing more.
    enum : uint8_t { unseen, onPath, done };
    std::vector<uint8_t> state(objects, unseen);
    struct Frame {
        uint64_t object, first, count, next;
    };
    std::vector<Frame> path;
    auto enter = [&](uint64_t n) {
        auto [first, count] = references(n);
        state[n] = onPath;
        path.push_back({n, first, count, 0});
    };
    enter(top);
    while (!path.empty()) {
        if (path.size() > static_cast<size_t>(kMaxDepth)) return true;
        Frame& frame = path.back();
        if (frame.next == frame.count) {
            state[frame.object] = done;
            path.pop_back();
            continue;
        }
        uint64_t child = bigEndian(bytes + frame.first + frame.next++ * refSize, refSize);
        if (child >= objects) continue;
        if (state[child] == onPath) return true;
        if (state[child] == unseen) enter(child);
    }
    return false;
}

}  // namespace

std::optional<double> PlistValue::number() const {
    if (auto b = boolean()) return *b ? 1.0 : 0.0;
    if (auto i = integer()) return static_cast<double>(*i);
    if (auto r = real()) return *r;
    return std::nullopt;
}

const PlistValue* PlistValue::find(std::string_view key) const {
    const auto* entries = dictionary();
    if (!entries) return nullptr;
    for (const auto& [name, value] : *entries)
        if (name == key) return &value;
    return nullptr;
}

std::optional<PlistValue> parsePropertyList(std::string_view bytes) {
    if (bytes.empty() || bytes.size() > kMaxDocumentSize || sharedPlistLibrary() == nullptr) return std::nullopt;
    if (holdsNulInString(bytes) || nestsTooDeep(bytes)) return std::nullopt;
    plist_t root = nullptr;
    plist().plist_from_memory(bytes.data(), static_cast<uint32_t>(bytes.size()), &root);
    PlistPtr owner(root);
    return fromNode(root, 0);
}

std::optional<PlistValue> readPropertyListFile(const std::string& path) {
    auto bytes = internal::readRegularFile(path, kMaxDocumentSize);
    if (!bytes) return std::nullopt;
    return parsePropertyList(*bytes);
}

namespace {

// A tree written by one of the library's writers, `write` and the `release`
// of what it gives.
template <class Write, class Release>
std::string serialize(const PlistValue& value, Write PlistLibrary::*write, Release PlistLibrary::*release) {
    const PlistLibrary* library = sharedPlistLibrary();
    if (library == nullptr) throw std::runtime_error("property lists cannot be written");
    PlistPtr node(toNode(value));
    char* bytes = nullptr;
    uint32_t length = 0;
    (library->*write)(node.get(), &bytes, &length);
    std::string out(bytes ? bytes : "", bytes ? length : 0);
    (library->*release)(bytes);
    return out;
}

}  // namespace

std::string toXmlPropertyList(const PlistValue& value) {
    return serialize(value, &PlistLibrary::plist_to_xml, &PlistLibrary::plist_to_xml_free);
}

std::string toBinaryPropertyList(const PlistValue& value) {
    return serialize(value, &PlistLibrary::plist_to_bin, &PlistLibrary::plist_to_bin_free);
}

}  // namespace platform
