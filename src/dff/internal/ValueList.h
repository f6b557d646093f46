#pragma once
// dff::internal::ValueList<V>: the values of one index node, in order of
// arrival. Most nodes hold a single value, so that one is kept in place and
// the list takes no allocation of its own until a second value comes; an
// index may hold a node for nearly every file of a search.
//
// For small, trivially copyable values (the indexes hold pointers).
// Threading: none.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace dff::internal {

template <class V>
class ValueList {
    static_assert(std::is_trivially_copyable_v<V> && sizeof(V) <= sizeof(V*), "values are kept in place");

public:
    ValueList() = default;
    explicit ValueList(const V& first) : _one(first), _size(1) {}
    ValueList(const ValueList&) = delete;
    ValueList& operator=(const ValueList&) = delete;
    ~ValueList() { release(); }

    size_t size() const { return _size; }
    bool empty() const { return _size == 0; }

    V* begin() { return data(); }
    V* end() { return data() + _size; }
    const V* begin() const { return data(); }
    const V* end() const { return data() + _size; }
    V& front() { return data()[0]; }
    const V& front() const { return data()[0]; }
    V& back() { return data()[_size - 1]; }
    const V& back() const { return data()[_size - 1]; }
    V& operator[](size_t i) { return data()[i]; }
    const V& operator[](size_t i) const { return data()[i]; }

    void push_back(const V& value) {
        if (_size == _capacity) grow();
        data()[_size++] = value;
    }

    // Drops the values from `count` on; keeps the storage.
    void truncate(size_t count) {
        if (count < _size) _size = static_cast<uint32_t>(count);
    }

    void clear() {
        release();
        _size = 0;
        _capacity = 1;
    }

private:
    bool inPlace() const { return _capacity == 1; }
    V* data() { return inPlace() ? &_one : _many; }
    const V* data() const { return inPlace() ? &_one : _many; }

    void grow() {
        uint32_t capacity = _capacity * 2;
        V* many = new V[capacity];
        std::memcpy(static_cast<void*>(many), data(), sizeof(V) * _size);
        release();
        _many = many;
        _capacity = capacity;
    }

    void release() {
        if (!inPlace()) delete[] _many;
    }

    union {
        V _one;
        V* _many;
    };
    uint32_t _size = 0;
    uint32_t _capacity = 1;
};

}  // namespace dff::internal
