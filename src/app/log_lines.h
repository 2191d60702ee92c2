#pragma once

#include "app/line_offsets.h"
#include "app/line_store_lock.h"
#include "app/lines.h"

#include <cstdint>

/// A line store that grows: all text in one buffer, each line terminated.
///
/// A line that GetLine returns lives until the caller gives up the store's lock. A caller that
/// does not hold it must be sure that nobody else uses the store before it is done with the line.
class ktLogLines final : public ktLines {
public:
    static constexpr uint64_t growth = 0x80000; ///< bytes by which the buffer grows

    explicit ktLogLines(ktReallocate from = ktHeapReallocate);
    ~ktLogLines() override;
    ktLogLines(const ktLogLines &) = delete;
    ktLogLines &operator=(const ktLogLines &) = delete;

    /// Makes the first buffer, of `growth` bytes. False without memory.
    bool Reserve();
    /// True once the first buffer exists.
    bool IsReady() const;
    /// Appends bytes in which '\n' ends a line; what follows the last '\n' is a line that stays open and
    /// is continued by the next call. False when memory ran out; the lines before that stay. Any thread.
    bool Append(const char *bytes, uint64_t size) override;
    /// True while the last line is open.
    bool HasOpenLine() const;
    /// Bytes that the buffer can hold.
    uint64_t GetCapacity() const;

    uint64_t GetLineCount() const override;
    const char *GetLine(uint64_t index) const override;
    /// Appends text and the end of a line in one: no other thread's text gets between. Any thread.
    bool AddLine(const char *text) override;
    void Clear() override;
    void LockShared() override { lock.LockShared(); }
    void UnlockShared() override { lock.UnlockShared(); }
    void LockExclusive() override { lock.LockExclusive(); }
    void UnlockExclusive() override { lock.UnlockExclusive(); }
    char *GetText() override;

private:
    bool MakeRoom(uint64_t need);
    bool Grow(uint64_t newCapacity);

    ktReallocate reallocate;
    bool reserved = false;
    mutable ktLineStoreLock lock;
    char *buffer = nullptr;
    uint64_t capacity = 0;
    uint64_t used = 0; // where the next byte goes: on the terminator of an open line, else behind the last
    ktLineOffsets offsets;
    bool atLineStart = true; // the next byte begins a new line
};
