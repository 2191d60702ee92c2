#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "abi/records.h"
#include "core/target_session.h"

namespace sable {

class EventThread;

/// One thing to do with the target. What it needs and what it finds are its own, so that it may outlive the
/// caller's wait.
class Request {
public:
    virtual ~Request() = default;
    /// Target's thread.
    virtual int32_t Run(TargetSession &session) = 0;

private:
    friend class TargetThread;
    std::condition_variable answered;
    std::atomic<bool> isAbandoned = false;
    std::atomic<bool> isReady = false; // `isAnswered`, for a look without the lock
    bool isAnswered = false;           // under the thread's lock, as `status`
    int32_t status = SABLE_FAILED;
};

/// The thread that owns a target: it serves requests in their order, and lets the target run between them.
class TargetThread final : private WorkMonitor {
public:
    using Maker = std::function<std::unique_ptr<Target>(RawDataSink &)>;

    /// `eventThread` outlives this.
    explicit TargetThread(EventThread &eventThread) : events(eventThread) {}
    ~TargetThread();
    TargetThread(const TargetThread &) = delete;
    TargetThread &operator=(const TargetThread &) = delete;

    /// Once. SABLE_NOT_SUPPORTED when `make` gives no target; then the thread has ended.
    int32_t Start(Maker make);
    /// Ends a running target and fails the requests that wait, on whatever threads. Waits for the request
    /// that is served, which is told to give up. One thread at a time.
    void Stop();

    /// Waits for the answer and returns it, and SABLE_FAILED when there is none within `limit` or the thread
    /// stops; `isAnswered` tells which. A request that was not begun in time is not served at all; the result
    /// of one that was is nobody's. An urgent one does not wait for others, nor for long ones to end. Any
    /// thread.
    int32_t Execute(const std::shared_ptr<Request> &request, std::chrono::milliseconds limit, bool isUrgent,
                    bool &isAnswered);
    /// Looks again whether the target may run. Any thread.
    void Wake();

private:
    using Queue = std::deque<std::shared_ptr<Request>>;

    bool GoOn() override;
    void Main(const Maker &make, std::unique_lock<std::mutex> guard);
    void Serve(TargetSession &target, std::unique_lock<std::mutex> &guard);
    bool ServeNext(TargetSession &target, std::unique_lock<std::mutex> &guard, Queue &queue);
    void RunSlice(TargetSession &target, std::unique_lock<std::mutex> &guard);
    void NoteChange();

    EventThread &events;
    std::thread thread;
    std::mutex lock;
    std::condition_variable changed;
    std::atomic<bool> hasChanged = false; // there is something to look at; set under the lock
    Queue urgent;
    Queue ordinary;
    std::atomic<size_t> urgentCount = 0;
    std::atomic<bool> isStopping = false;
    bool isEnded = false;

    // Of the target's thread.
    TargetSession *session = nullptr;
    Request *current = nullptr;
};

} // namespace sable
