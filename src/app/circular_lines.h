#pragma once

#include "app/line_offsets.h"
#include "app/line_store_lock.h"
#include "app/lines.h"

#include <cstdint>

/// A line store of fixed size whose new lines overwrite the oldest ones.
///
/// A line that GetLine returns lives until the caller gives up the store's lock. A caller that
/// does not hold it must be sure that nobody else uses the store before it is done with the line.
class ktCircularLines final : public ktLines {
public:
    static constexpr uint64_t capacity = 0x100000; ///< bytes of text, terminators included

    explicit ktCircularLines(ktReallocate from = ktHeapReallocate);
    ~ktCircularLines() override;
    ktCircularLines(const ktCircularLines &) = delete;
    ktCircularLines &operator=(const ktCircularLines &) = delete;

    /// Makes the buffer; lines are refused before. False without memory.
    bool Reserve();
    /// Lines added since the store was made, those that are gone by now included.
    uint64_t GetAddedCount() const;
    /// Line `number` of all that were ever added, from 0; null when it is gone or not there yet.
    const char *GetAddedLine(uint64_t number) const;

    uint64_t GetLineCount() const override;
    const char *GetLine(uint64_t index) const override;
    /// False for a line of `capacity` bytes or more, with the store untouched. Any thread.
    bool AddLine(const char *text) override;
    void AddLines(std::span<const char *const> texts) override;
    void Clear() override;
    void LockShared() override { lock.LockShared(); }
    void UnlockShared() override { lock.UnlockShared(); }
    void LockExclusive() override { lock.LockExclusive(); }
    void UnlockExclusive() override { lock.UnlockExclusive(); }
    /// Once lines have been overwritten, the lines in the result are separated by NUL bytes, so that it
    /// reads as the oldest line alone.
    char *GetText() override;

private:
    bool AddLocked(const char *text);
    void StartNewLap();
    void ReplaceLines(uint64_t need);
    const char *LineAt(uint64_t index) const;
    const char *HandOut(uint64_t index) const;
    char *CopyLines() const;
    char *CopyBlock() const;

    ktReallocate reallocate;
    mutable ktLineStoreLock lock;
    char *buffer = nullptr;
    uint64_t writeOffset = 0;
    // Once wrapped, a ring: slots below nextSlot hold the lap being written, those from firstSlot on
    // what is left of the lap before, which is older.
    ktLineOffsets offsets;
    uint64_t firstSlot = 0; // of the oldest line; the ring's size means slot 0
    uint64_t nextSlot = 0;  // for the next line
    uint64_t lineCount = 0;
    bool wrapped = false;
    uint64_t addedCount = 0;
};
