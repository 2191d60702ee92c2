#include "app/log.h"

#include "app/lines.h"
#include "platform/sync.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>

namespace {

constexpr uint32_t logSpinCount = 100000;

// Neither is ever destroyed, so that a thread may still log while the process ends.
constinit ktCriticalSection logLock(logSpinCount);
constinit std::atomic<ktLines *> logSink{nullptr};
char message[512]; // guarded by logLock

} // namespace

int ktLog(const char *format, ...) {
    if (!format || !logSink.load(std::memory_order_relaxed)) return 0;
    ktLockGuard guard(logLock);
    ktLines *sink = logSink.load(std::memory_order_relaxed);
    if (!sink) return 0; // cleared while this thread waited
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);
    if (length < 0) return 0; // a wide character that the system cannot convert
    sink->AddLine(message);
    return 1;
}

void ktLogLinesAtOnce(std::span<const char *const> texts) {
    if (texts.empty() || !logSink.load(std::memory_order_relaxed)) return;
    ktLockGuard guard(logLock);
    if (ktLines *sink = logSink.load(std::memory_order_relaxed)) sink->AddLines(texts);
}

bool SetLogSink(ktLines *sink) {
    if (!sink) return false;
    ktLockGuard guard(logLock);
    logSink.store(sink, std::memory_order_relaxed);
    return true;
}

void ClearLogSink() {
    ktLockGuard guard(logLock);
    logSink.store(nullptr, std::memory_order_relaxed);
}
