#pragma once

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <memory>

/// The children of a symbol object, in order, in two words. The memory of the array is the list's own, or
/// lent by who outlives it. References are the business of the class that has the list.
template <class T>
class ktObjectList {
public:
    ktObjectList() = default;
    ktObjectList(const ktObjectList &) = delete;
    ktObjectList &operator=(const ktObjectList &) = delete;
    ktObjectList &operator=(std::initializer_list<T *> objects) {
        clear();
        for (T *object : objects) push_back(object);
        return *this;
    }
    ~ktObjectList() { clear(); }

    T *const *begin() const { return items; }
    T *const *end() const { return items + count; }
    T *operator[](size_t place) const { return items[place]; }
    T *back() const { return items[count - 1]; }
    size_t size() const { return count; }
    bool empty() const { return count == 0; }
    /// Throws std::bad_alloc without memory, with the list as it was.
    void push_back(T *object) {
        if (count >= capacity) Grow();
        items[count++] = object;
    }
    void clear() {
        if (capacity != 0) delete[] items;
        items = nullptr;
        count = capacity = 0;
    }
    /// Becomes the `size` objects of `lasting`, an array that outlives the list.
    void Lend(T **lasting, uint32_t size) {
        clear();
        items = lasting;
        count = size;
    }

private:
    void Grow() {
        const uint32_t newCapacity = std::max(4u, count * 2);
        auto grown = std::make_unique<T *[]>(newCapacity);
        std::copy(begin(), end(), grown.get());
        if (capacity != 0) delete[] items;
        items = grown.release();
        capacity = newCapacity;
    }

    T **items = nullptr;
    uint32_t count = 0;
    uint32_t capacity = 0; // 0 for a lent array
};
