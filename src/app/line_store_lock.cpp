#include "app/line_store_lock.h"

#include <cstdlib>
#include <cstring>
#include <new>

struct ktLineStoreLock::Kept {
    Kept *next;
    void *block; // freed together with this; null for a copy, whose bytes follow
};

ktLineStoreLock::~ktLineStoreLock() { FreeKept(); }

void ktLineStoreLock::LockShared() {
    lock.LockShared();
    AddHolder();
}

void ktLineStoreLock::UnlockShared() {
    RemoveHolder();
    lock.UnlockShared();
}

void ktLineStoreLock::LockExclusive() {
    lock.LockExclusive();
    AddHolder();
}

void ktLineStoreLock::UnlockExclusive() {
    RemoveHolder();
    lock.UnlockExclusive();
}

const char *ktLineStoreLock::KeepCopy(const char *bytes, uint64_t length) {
    Kept *piece = Keep(length + 1);
    if (!piece) return nullptr;
    char *copy = reinterpret_cast<char *>(piece + 1);
    std::memcpy(copy, bytes, length);
    copy[length] = 0;
    return copy;
}

bool ktLineStoreLock::FreeLater(void *block) {
    Kept *piece = Keep(0);
    if (piece) piece->block = block;
    return piece != nullptr;
}

ktLineStoreLock::Kept *ktLineStoreLock::Keep(uint64_t extra) {
    void *memory = std::malloc(sizeof(Kept) + extra);
    if (memory) kept = new (memory) Kept{kept, nullptr};
    return memory ? kept : nullptr;
}

void ktLineStoreLock::AddHolder() {
    ktLockGuard guard(access);
    ++holders;
}

void ktLineStoreLock::RemoveHolder() {
    ktLockGuard guard(access);
    if (--holders == 0) FreeKept();
}

void ktLineStoreLock::FreeKept() {
    while (Kept *piece = kept) {
        kept = piece->next;
        std::free(piece->block);
        std::free(piece);
    }
}
