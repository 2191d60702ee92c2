#pragma once

#include <cstdint>
#include <memory>
#include <string>

/// The one rule that makes names unique: a free name stands; otherwise the first free one of name_1,
/// name_2 and so on takes its place. The counters make a run of equal names linear; they hold only while
/// no name becomes free again. Where names do become free, each call takes a new object.
class ktUniqueNames {
public:
    ktUniqueNames();
    ~ktUniqueNames();

    /// The name to use for `name`: itself or a candidate, which then stands in `buffer`. Null for null.
    /// `holderOf(text)` gives the address of the object that has that name, null when it is free.
    template <class HolderOf>
    const char *Pick(const char *name, const HolderOf &holderOf, std::string &buffer) {
        const void *holder = name ? holderOf(name) : nullptr;
        if (!holder) return name;
        uint64_t &taken = TakenBehind(holder);
        for (;; ++taken) {
            buffer.assign(name);
            buffer += '_';
            buffer += std::to_string(taken + 1);
            if (!holderOf(buffer.c_str())) return buffer.c_str();
        }
    }
    /// Drops the counters. The results stay the same, at the price of trying again from 1.
    void Forget();

private:
    /// For the holder of a name: all of name_1 to name_N are taken, N being the counter.
    uint64_t &TakenBehind(const void *holder);

    struct Counters;

    std::unique_ptr<Counters> counters; // null until a name collides
};
