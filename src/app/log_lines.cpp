#include "app/log_lines.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

ktLogLines::ktLogLines(ktReallocate from) : reallocate(from), offsets(from) {}

ktLogLines::~ktLogLines() { std::free(buffer); }

bool ktLogLines::Reserve() {
    ktLockGuard guard(lock.access);
    if (!reserved) reserved = buffer || Grow(growth);
    return reserved;
}

bool ktLogLines::IsReady() const {
    ktLockGuard guard(lock.access);
    return buffer != nullptr;
}

uint64_t ktLogLines::GetCapacity() const {
    ktLockGuard guard(lock.access);
    return capacity;
}

bool ktLogLines::HasOpenLine() const {
    ktLockGuard guard(lock.access);
    return !atLineStart;
}

uint64_t ktLogLines::GetLineCount() const {
    ktLockGuard guard(lock.access);
    return offsets.Size();
}

const char *ktLogLines::GetLine(uint64_t index) const {
    ktLockGuard guard(lock.access);
    if (index >= offsets.Size()) return nullptr;
    const char *line = buffer + offsets[index];
    // The next Append writes over the terminator of an open line, so its readers get a copy. All other
    // text stays as it is, and so does the buffer, for as long as somebody holds the lock.
    const bool isOpen = !atLineStart && index + 1 == offsets.Size();
    if (isOpen && lock.IsHeld()) return lock.KeepCopy(line, used - offsets[index]);
    return line;
}

bool ktLogLines::AddLine(const char *text) {
    if (!text) return false;
    ktLockGuard guard(lock.access);
    return Append(text, std::strlen(text)) && Append("\n", 1);
}

bool ktLogLines::Append(const char *bytes, uint64_t size) {
    if (size == 0) return true;
    if (!bytes) return false;
    ktLockGuard guard(lock.access);
    while (size != 0) {
        const auto *newline = static_cast<const char *>(std::memchr(bytes, '\n', size));
        const uint64_t length = newline ? static_cast<uint64_t>(newline - bytes) : size;
        if (!MakeRoom(length + 1)) return false;
        if (atLineStart) {
            if (!offsets.MakeRoom()) return false;
            offsets.Append(used);
            atLineStart = false;
        }
        std::memcpy(buffer + used, bytes, length);
        used += length;
        buffer[used] = 0;
        if (newline) {
            atLineStart = true;
            ++used;
        }
        const uint64_t taken = newline ? length + 1 : length;
        bytes += taken;
        size -= taken;
    }
    return true;
}

bool ktLogLines::MakeRoom(uint64_t need) {
    const uint64_t left = capacity - used;
    if (left >= need) return true;
    const uint64_t steps = (need - left + growth - 1) / growth;
    return Grow(capacity + steps * growth);
}

bool ktLogLines::Grow(uint64_t newCapacity) {
    if (!lock.IsHeld()) {
        // Nobody looks at the old buffer, so it may move, which the heap does without copying when it is big.
        void *grown = reallocate(buffer, newCapacity);
        if (!grown) return false;
        buffer = static_cast<char *>(grown);
    } else {
        void *grown = reallocate(nullptr, newCapacity);
        if (!grown) return false;
        if (buffer) {
            std::memcpy(grown, buffer, used);
            if (!lock.FreeLater(buffer)) {
                std::free(grown);
                return false;
            }
        }
        buffer = static_cast<char *>(grown);
    }
    capacity = newCapacity;
    return true;
}

void ktLogLines::Clear() {
    ktLockGuard guard(lock.access);
    atLineStart = true;
    used = 0;
    offsets.Shrink(0);
}

char *ktLogLines::GetText() {
    lock.LockShared();
    const char *source = nullptr;
    uint64_t size = 0;
    {
        ktLockGuard guard(lock.access);
        source = buffer;
        size = used;
    }
    // Below `used` nothing changes while the lock is held, whatever is appended meanwhile.
    char *text = size ? static_cast<char *>(reallocate(nullptr, size + 1)) : nullptr;
    if (text) std::memcpy(text, source, size);
    lock.UnlockShared();
    if (!text) return nullptr;
    std::replace(text, text + size, '\0', '\n');
    text[size] = 0;
    return text;
}
