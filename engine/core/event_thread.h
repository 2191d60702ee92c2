#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "abi/records.h"
#include "core/callback_slot.h"
#include "core/target_session.h"

namespace sable {

using EventSlot = CallbackSlot<ktSbEventCallback>;
using RawDataSlot = CallbackSlot<ktSbRawDataCallback>;

/// Calls the callbacks of one engine, in the order of what happened, on a thread of its own. Posting and
/// asking: any thread. Start and Stop: one thread at a time, and not a callback.
class EventThread final : public EventSink, public RawDataSink {
public:
    static constexpr size_t fullBytes = 1 << 20;
    static constexpr size_t fullEntries = 65536;

    EventThread() = default;
    ~EventThread();
    EventThread(const EventThread &) = delete;
    EventThread &operator=(const EventThread &) = delete;

    /// `onDrained` is called after IsFull has become false again.
    void Start(EventSlot &event, std::shared_ptr<RawDataSlot> rawData, std::function<void()> onDrained);
    /// Waits for a callback that runs, and drops what has not been told.
    void Stop();

    void PostEvent(ktSbStop stop) override;
    void PostRawData(const void *bytes, uint32_t size) override;
    /// So much waits for a callback that no more should come: the target had better not run.
    bool IsFull() const { return isFull; }

    /// True on a thread on which a callback runs, of any engine.
    static bool IsInCallback();

private:
    struct Entry {
        uint8_t event = 0;
        std::vector<uint8_t> bytes; // empty for an event
    };

    void Deliver();
    bool MayTake(size_t factor) const;

    std::mutex lock;
    std::condition_variable posted;
    std::deque<Entry> entries;
    size_t waitingBytes = 0;
    bool isStopping = false;
    std::atomic<bool> isFull = false;

    EventSlot *eventSlot = nullptr;
    std::shared_ptr<RawDataSlot> rawDataSlot;
    std::function<void()> drained;
    std::thread thread;
};

} // namespace sable
