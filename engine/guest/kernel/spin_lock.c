#include "kernel/spin_lock.h"

#include "kernel/processor.h"

void spinTake(struct spinLock *lock) {
    const uint64_t flags = interruptsOff();
    while (__atomic_exchange_n(&lock->isTaken, 1, __ATOMIC_ACQUIRE) != 0) __asm__ volatile("pause");
    lock->flags = flags;
    ++lock->takenCount;
}

void spinGive(struct spinLock *lock) {
    const uint64_t flags = lock->flags;
    __atomic_store_n(&lock->isTaken, 0, __ATOMIC_RELEASE);
    interruptsRestore(flags);
}
