#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

class ktModule;

/// Modules in the order of loading. One writer at a time; readers on any thread take a View and no lock.
/// What is appended or removed meanwhile may or may not show in a view. The modules are not owned, and a
/// reader must be done with a module before it is released.
class ktModuleList {
    struct Block;

public:
    class Iterator {
    public:
        explicit Iterator(const std::atomic<ktModule *> *first) : item(first) {}
        ktModule *operator*() const { return item->load(std::memory_order_acquire); }
        Iterator &operator++() {
            ++item;
            return *this;
        }
        bool operator==(const Iterator &) const = default;

    private:
        const std::atomic<ktModule *> *item;
    };

    /// The list at one moment.
    class View {
    public:
        explicit View(const Block &block);
        Iterator begin() const { return Iterator(items); }
        Iterator end() const { return Iterator(items + count); }
        uint64_t size() const { return count; }
        bool empty() const { return count == 0; }
        /// `index` is below size().
        ktModule *operator[](uint64_t index) const { return items[index].load(std::memory_order_acquire); }

    private:
        const std::atomic<ktModule *> *items;
        uint64_t count;
    };

    ktModuleList();
    ~ktModuleList();
    ktModuleList(const ktModuleList &) = delete;
    ktModuleList &operator=(const ktModuleList &) = delete;

    View Get() const { return View(*current.load(std::memory_order_acquire)); }
    /// False without memory.
    bool Append(ktModule *module);
    /// Takes the first entry of that module out, keeping the order. False when there is none.
    bool Remove(const ktModule *module);

private:
    bool Grow(uint64_t capacity);

    std::atomic<Block *> current{nullptr};
    std::vector<std::unique_ptr<Block>> blocks; // the current one last; readers may still walk the others
};
