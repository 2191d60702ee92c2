#include "app/circular_lines.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

ktCircularLines::ktCircularLines(ktReallocate from) : reallocate(from), offsets(from) {}

ktCircularLines::~ktCircularLines() { std::free(buffer); }

bool ktCircularLines::Reserve() {
    ktLockGuard guard(lock.access);
    if (!buffer) buffer = static_cast<char *>(reallocate(nullptr, capacity));
    return buffer != nullptr;
}

uint64_t ktCircularLines::GetAddedCount() const {
    ktLockGuard guard(lock.access);
    return addedCount;
}

uint64_t ktCircularLines::GetLineCount() const {
    ktLockGuard guard(lock.access);
    return lineCount;
}

const char *ktCircularLines::LineAt(uint64_t index) const {
    return buffer + offsets[(firstSlot + index) % offsets.Size()];
}

const char *ktCircularLines::GetLine(uint64_t index) const {
    ktLockGuard guard(lock.access);
    return HandOut(index);
}

const char *ktCircularLines::GetAddedLine(uint64_t number) const {
    ktLockGuard guard(lock.access);
    const uint64_t gone = addedCount - lineCount;
    return number < gone ? nullptr : HandOut(number - gone);
}

/// Line `index` for somebody outside, under `access`.
const char *ktCircularLines::HandOut(uint64_t index) const {
    if (index >= lineCount) return nullptr;
    const char *line = LineAt(index);
    // Any line may be overwritten while a view walks over it, so the view gets a copy.
    return lock.IsHeld() ? lock.KeepCopy(line, std::strlen(line)) : line;
}

bool ktCircularLines::AddLine(const char *text) {
    ktLockGuard guard(lock.access);
    return AddLocked(text);
}

void ktCircularLines::AddLines(std::span<const char *const> texts) {
    ktLockGuard guard(lock.access);
    for (const char *text : texts) AddLocked(text);
}

/// AddLine under `access`.
bool ktCircularLines::AddLocked(const char *text) {
    if (!text) return false;
    const uint64_t length = std::strlen(text);
    if (length >= capacity) return false;
    const uint64_t need = length + 1;
    if (!buffer || !offsets.MakeRoom()) return false;
    const bool fits = writeOffset + need <= capacity;
    if (fits && !wrapped) {
        offsets.Append(writeOffset);
        ++nextSlot;
        ++lineCount;
    } else {
        if (!fits) StartNewLap();
        ReplaceLines(need);
    }
    std::memcpy(buffer + writeOffset, text, need);
    writeOffset += need;
    ++addedCount;
    return true;
}

/// Goes back to the start of the buffer. The lap that ends here becomes the old one; what was left
/// of the one before goes with its slots.
void ktCircularLines::StartNewLap() {
    wrapped = true;
    lineCount = nextSlot;
    offsets.Shrink(lineCount);
    writeOffset = 0;
    firstSlot = 0;
    nextSlot = 0;
}

/// Gives the line of `need` bytes at writeOffset its slot, and drops the lines that it overwrites.
void ktCircularLines::ReplaceLines(uint64_t need) {
    // The slot that is about to be reused loses its line, wherever that stands. With both at the
    // ring's end nothing is lost, and raising firstSlot keeps it at the end as the ring grows.
    uint64_t dropped = nextSlot == firstSlot ? 1 : 0;
    for (uint64_t slot = firstSlot + dropped; slot < offsets.Size(); ++slot) {
        if (offsets[slot] >= writeOffset + need) break;
        ++dropped;
    }
    if (nextSlot + 1 <= offsets.Size()) {
        offsets[nextSlot] = writeOffset;
    } else {
        offsets.Append(writeOffset);
        ++lineCount;
    }
    ++nextSlot;
    firstSlot += dropped;
    lineCount = lineCount - dropped + 1;
}

void ktCircularLines::Clear() {
    ktLockGuard guard(lock.access);
    writeOffset = 0;
    firstSlot = 0;
    nextSlot = 0;
    lineCount = 0;
    wrapped = false;
    offsets.Shrink(0);
}

char *ktCircularLines::GetText() {
    lock.LockShared();
    char *text = nullptr;
    {
        ktLockGuard guard(lock.access);
        if (lineCount != 0) text = wrapped ? CopyLines() : CopyBlock();
    }
    lock.UnlockShared();
    return text;
}

/// The lines in order, each with its terminator.
char *ktCircularLines::CopyLines() const {
    char *text = static_cast<char *>(reallocate(nullptr, capacity));
    if (!text) return nullptr;
    char *end = text;
    for (uint64_t i = 0; i < lineCount; ++i) {
        const char *line = LineAt(i);
        const size_t size = std::strlen(line) + 1;
        std::memcpy(end, line, size);
        end += size;
    }
    return text;
}

/// The lines, which still stand in order in the buffer, joined by '\n'.
char *ktCircularLines::CopyBlock() const {
    char *text = static_cast<char *>(reallocate(nullptr, writeOffset));
    if (!text) return nullptr;
    std::memcpy(text, buffer, writeOffset);
    std::replace(text, text + writeOffset - 1, '\0', '\n');
    return text;
}
