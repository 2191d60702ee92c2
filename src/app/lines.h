#pragma once

#include <cstdint>
#include <span>

/// A store of text lines. The locks guard a walk over lines; AddLine takes none
/// of its own, so that a writer never waits for a frame being drawn.
class ktLines {
public:
    virtual ~ktLines() = default;
    virtual uint64_t GetLineCount() const = 0;
    /// Line `index`, 0 being the oldest; null past the end. Valid until the caller gives up the store's
    /// lock, and never across a Clear. A caller that does not hold the lock may look at the line only while
    /// no other thread uses the store, and until the next line is added.
    virtual const char *GetLine(uint64_t index) const = 0;
    /// Appends one line (NUL-terminated, copied). False when it could not be stored.
    virtual bool AddLine(const char *text) = 0;
    /// Appends bytes as they come: '\n' ends a line, and a line may stay open for the next call. False,
    /// with nothing stored, in a store that takes whole lines only.
    virtual bool Append(const char *bytes, uint64_t size) {
        static_cast<void>(bytes);
        return size == 0;
    }
    /// Removes all lines, keeps the buffer. The caller holds the exclusive lock.
    virtual void Clear() = 0;
    virtual void LockShared() = 0;
    virtual void UnlockShared() = 0;
    virtual void LockExclusive() = 0;
    virtual void UnlockExclusive() = 0;
    /// All text as one string, freed by the caller with free(); null when empty.
    virtual char *GetText() = 0;
    /// Adds each of `texts` as AddLine does, in order and, where the store can, without other lines between.
    virtual void AddLines(std::span<const char *const> texts) {
        for (const char *text : texts) AddLine(text);
    }
};
