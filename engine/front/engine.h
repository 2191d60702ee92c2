#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>

#include "core/event_thread.h"
#include "core/target_factory.h"
#include "core/target_thread.h"

namespace sable {

class Transport;

/// One engine: a target with the thread that owns it, and the thread that tells what happens to it. Any
/// thread, but callbacks do not start, stop or close it: that is SABLE_FAILED.
class Engine {
public:
    explicit Engine(TargetFactory factory) : makeTarget(std::move(factory)) {}
    ~Engine() { Close(); }
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;

    /// SABLE_FAILED while it is started.
    int32_t AssignTransport(std::shared_ptr<Transport> newTransport);
    /// SABLE_FAILED when it is started already, when it has no transport, and when that has no interface or
    /// another engine. SABLE_NOT_SUPPORTED when there is no such target.
    int32_t Start();
    /// Ends the target and both threads; requests that wait on other threads fail. Then it may be started
    /// again.
    int32_t Stop();
    /// Stops for good.
    int32_t Close();

    /// Time for one try of a request, at least 1, and how often it is tried again. A request does not get
    /// lost on its way to a thread, so that to try again is to wait again.
    int32_t SetTimeout(uint32_t milliseconds);
    void SetRetryCount(uint32_t count) { retryCount = count; }

    EventSlot &Events() { return eventSlot; }

    enum class Urgency { ordinary, urgent };

    /// Has `operation(session, answer)` run on the target's thread. `answer` gets what it found, unless there
    /// was no answer in time. The operation must own what it needs: it may run after this has returned.
    template <typename Answer, typename Operation>
    int32_t Ask(Answer &answer, Operation operation, Urgency urgency = Urgency::ordinary) {
        struct Asked final : Request {
            explicit Asked(Operation &&newOperation) : run(std::move(newOperation)) {}
            int32_t Run(TargetSession &session) override { return run(session, found); }
            Operation run;
            Answer found = {};
        };
        const auto request = std::make_shared<Asked>(std::move(operation));
        bool isAnswered = false;
        const int32_t status = Execute(request, urgency, isAnswered);
        if (isAnswered) answer = std::move(request->found);
        return status;
    }

    /// The same for an operation that finds nothing but its status.
    template <typename Operation>
    int32_t Tell(Operation operation, Urgency urgency = Urgency::ordinary) {
        struct Nothing {
        } nothing;
        return Ask(
            nothing, [run = std::move(operation)](TargetSession &session, Nothing &) { return run(session); },
            urgency);
    }

private:
    int32_t Execute(const std::shared_ptr<Request> &request, Urgency urgency, bool &isAnswered);
    void StopThreads();

    const TargetFactory makeTarget;
    std::atomic<uint32_t> timeout = 3000;
    std::atomic<uint32_t> retryCount = 1;
    EventSlot eventSlot;
    EventThread eventThread;

    std::mutex lifeLock; // one thread at a time starts, stops, assigns or closes
    std::shared_ptr<Transport> transport;
    bool isClosed = false;

    std::mutex threadLock;
    std::shared_ptr<TargetThread> targetThread; // null while stopped
};

} // namespace sable
