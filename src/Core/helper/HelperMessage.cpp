#include "Core/helper/HelperMessage.h"

namespace Core {

namespace {

void putU32(std::string& out, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<char>((value >> shift) & 0xFF));
}

void putU64(std::string& out, uint64_t value) {
    putU32(out, static_cast<uint32_t>(value >> 32));
    putU32(out, static_cast<uint32_t>(value));
}

void putString(std::string& out, const std::string& text) {
    putU32(out, static_cast<uint32_t>(text.size()));
    out.append(text);
}

void putStrings(std::string& out, const std::vector<std::string>& texts) {
    putU32(out, static_cast<uint32_t>(texts.size()));
    for (const auto& text : texts) putString(out, text);
}

// Reads fields off a payload; every read checks the bytes left, and a
// failed read leaves the reader failed for good.
class Reader {
public:
    Reader(const uint8_t* data, size_t size) : _data(data), _left(size) {}

    bool u8(uint8_t& value) {
        if (!take(1)) return false;
        value = _data[-1];
        return true;
    }
    bool u32(uint32_t& value) {
        if (!take(4)) return false;
        const uint8_t* p = _data - 4;
        value = (uint32_t{p[0]} << 24) | (uint32_t{p[1]} << 16) | (uint32_t{p[2]} << 8) | uint32_t{p[3]};
        return true;
    }
    bool i64(int64_t& value) {
        uint32_t high = 0, low = 0;
        if (!u32(high) || !u32(low)) return false;
        value = static_cast<int64_t>((uint64_t{high} << 32) | low);
        return true;
    }
    bool flag(bool& value) {
        uint8_t byte = 0;
        if (!u8(byte) || byte > 1) return _ok = false;
        value = byte == 1;
        return true;
    }
    bool string(std::string& value) {
        uint32_t length = 0;
        if (!u32(length) || !take(length)) return false;
        value.assign(reinterpret_cast<const char*>(_data - length), length);
        return true;
    }
    bool strings(std::vector<std::string>& values) {
        uint32_t count = 0;
        if (!u32(count)) return false;
        // Each string needs at least its length word: a count beyond that is
        // a lie, refused before anything is reserved.
        if (count > _left / 4) return _ok = false;
        values.clear();
        values.reserve(count);
        for (uint32_t i = 0; i < count; ++i)
            if (!string(values.emplace_back())) return false;
        return true;
    }
    bool atEnd() const { return _ok && _left == 0; }

private:
    bool take(size_t count) {
        if (!_ok || count > _left) return _ok = false;
        _data += count;
        _left -= count;
        return true;
    }

    const uint8_t* _data;
    size_t _left;
    bool _ok = true;
};

enum class Field { callId, path, paths, scripts, flag, size };

// The fields of each kind, in wire order: the one description of the layout
// that both directions follow. Nothing for an unknown kind.
std::optional<std::vector<Field>> fieldsOf(HelperMessageKind kind) {
    using K = HelperMessageKind;
    switch (kind) {
        case K::test:
        case K::reindexSpotlight:
        case K::clearDNSCache:
        case K::replyVoid:
            return std::vector{Field::callId};
        case K::getDirectorySize:
        case K::shredFile:
            return std::vector{Field::callId, Field::path};
        case K::deleteAtPaths:
            return std::vector{Field::paths, Field::scripts};
        case K::changeMode:
            return std::vector{Field::flag};
        case K::replySize:
            return std::vector{Field::callId, Field::size};
        case K::replyBool:
            return std::vector{Field::callId, Field::flag};
        case K::deletedAt:
            return std::vector{Field::path, Field::flag};
        case K::deletingAt:
            return std::vector{Field::path};
        case K::pauseDeleting:
        case K::resumeDeleting:
        case K::stopDeleting:
        case K::stopGettingSize:
        case K::launchedScript:
        case K::deletionCompleted:
            return std::vector<Field>{};
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> encodeFrame(const HelperMessage& m) {
    auto fields = fieldsOf(m.kind);
    if (!fields) return std::nullopt;
    std::string payload;
    payload.push_back(static_cast<char>(m.kind));
    for (Field field : *fields) {
        switch (field) {
            case Field::callId: putU32(payload, m.callId); break;
            case Field::path: putString(payload, m.path); break;
            case Field::paths: putStrings(payload, m.paths); break;
            case Field::scripts: putStrings(payload, m.scripts); break;
            case Field::flag: payload.push_back(m.flag ? 1 : 0); break;
            case Field::size: putU64(payload, static_cast<uint64_t>(m.size)); break;
        }
    }
    if (payload.size() > kHelperMaxFrameSize) return std::nullopt;
    std::string frame;
    frame.reserve(4 + payload.size());
    putU32(frame, static_cast<uint32_t>(payload.size()));
    frame.append(payload);
    return frame;
}

std::optional<HelperMessage> decodePayload(const uint8_t* data, size_t size) {
    Reader in(data, size);
    uint8_t kindByte = 0;
    if (!in.u8(kindByte)) return std::nullopt;
    HelperMessage m;
    m.kind = static_cast<HelperMessageKind>(kindByte);
    auto fields = fieldsOf(m.kind);
    if (!fields) return std::nullopt;
    for (Field field : *fields) {
        bool ok = false;
        switch (field) {
            case Field::callId: ok = in.u32(m.callId); break;
            case Field::path: ok = in.string(m.path); break;
            case Field::paths: ok = in.strings(m.paths); break;
            case Field::scripts: ok = in.strings(m.scripts); break;
            case Field::flag: ok = in.flag(m.flag); break;
            case Field::size: ok = in.i64(m.size); break;
        }
        if (!ok) return std::nullopt;
    }
    if (!in.atEnd()) return std::nullopt;
    return m;
}

}  // namespace Core
