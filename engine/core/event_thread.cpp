#include "core/event_thread.h"

#include <utility>

namespace sable {

namespace {

/// What is posted although the queue is full is kept up to this many times its size.
constexpr size_t overflow = 2;
constexpr size_t longestChunk = 65536;

thread_local bool isInCallback = false;

} // namespace

EventThread::~EventThread() { Stop(); }

void EventThread::Start(EventSlot &event, std::shared_ptr<RawDataSlot> rawData,
                        std::function<void()> onDrained) {
    eventSlot = &event;
    rawDataSlot = std::move(rawData);
    drained = std::move(onDrained);
    isStopping = false;
    thread = std::thread([this] { Deliver(); });
}

void EventThread::Stop() {
    if (!thread.joinable()) return;
    {
        const std::lock_guard guard(lock);
        isStopping = true;
    }
    posted.notify_all();
    thread.join();
    entries.clear();
    waitingBytes = 0;
    isFull = false;
}

bool EventThread::MayTake(size_t factor) const {
    return entries.size() < factor * fullEntries && waitingBytes < factor * fullBytes;
}

void EventThread::PostEvent(ktSbStop stop) {
    {
        const std::lock_guard guard(lock);
        if (entries.size() >= overflow * fullEntries) return;
        entries.push_back({uint8_t(stop), {}});
        isFull = !MayTake(1);
    }
    posted.notify_one();
}

void EventThread::PostRawData(const void *bytes, uint32_t size) {
    if (size == 0) return;
    {
        const std::lock_guard guard(lock);
        if (!MayTake(overflow)) return;
        const uint8_t *const first = static_cast<const uint8_t *>(bytes);
        const bool joins = !entries.empty() && !entries.back().bytes.empty() &&
                           entries.back().bytes.size() + size <= longestChunk;
        if (!joins) entries.emplace_back();
        std::vector<uint8_t> &chunk = entries.back().bytes;
        chunk.insert(chunk.end(), first, first + size);
        waitingBytes += size;
        isFull = !MayTake(1);
    }
    posted.notify_one();
}

bool EventThread::IsInCallback() { return isInCallback; }

void EventThread::Deliver() {
    std::unique_lock guard(lock);
    for (;;) {
        posted.wait(guard, [&] { return isStopping || !entries.empty(); });
        if (isStopping) return;
        const Entry entry = std::move(entries.front());
        entries.pop_front();
        waitingBytes -= entry.bytes.size();
        const bool wasFull = isFull;
        isFull = !MayTake(1);
        const bool hasDrained = wasFull && !isFull;
        guard.unlock();
        if (hasDrained) drained();
        isInCallback = true;
        if (entry.bytes.empty()) {
            eventSlot->Call(entry.event);
        } else {
            rawDataSlot->Call(static_cast<const void *>(entry.bytes.data()), uint32_t(entry.bytes.size()));
        }
        isInCallback = false;
        guard.lock();
    }
}

} // namespace sable
