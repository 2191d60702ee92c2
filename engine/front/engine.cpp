#include "front/engine.h"

#include <algorithm>

#include "front/transport.h"

namespace sable {

int32_t Engine::AssignTransport(std::shared_ptr<Transport> newTransport) {
    if (EventThread::IsInCallback()) return SABLE_FAILED;
    const std::lock_guard guard(lifeLock);
    if (isClosed || targetThread != nullptr) return SABLE_FAILED;
    transport = std::move(newTransport);
    return SABLE_OK;
}

int32_t Engine::Start() {
    if (EventThread::IsInCallback()) return SABLE_FAILED;
    const std::lock_guard guard(lifeLock);
    if (isClosed || targetThread != nullptr || transport == nullptr) return SABLE_FAILED;
    const std::optional<MachineSettings> settings = transport->Settings();
    if (!settings || !transport->Take()) return SABLE_FAILED;

    const auto thread = std::make_shared<TargetThread>(eventThread);
    int32_t status = SABLE_FAILED;
    try {
        eventThread.Start(eventSlot, transport->RawData(), [target = thread.get()] { target->Wake(); });
        status =
            thread->Start([make = makeTarget, settings](RawDataSink &sink) { return make(*settings, sink); });
    } catch (const std::exception &) {
        status = SABLE_FAILED; // the system has no thread left
    }
    if (status < 0) {
        eventThread.Stop();
        transport->GiveBack();
        return status;
    }
    const std::lock_guard threadGuard(threadLock);
    targetThread = thread;
    return status;
}

void Engine::StopThreads() {
    std::shared_ptr<TargetThread> thread;
    {
        const std::lock_guard threadGuard(threadLock);
        thread = std::move(targetThread);
        targetThread = nullptr;
    }
    if (thread == nullptr) return;
    // In this order: a callback may wait for a request, which fails now.
    thread->Stop();
    eventThread.Stop();
    transport->GiveBack();
}

int32_t Engine::Stop() {
    if (EventThread::IsInCallback()) return SABLE_FAILED;
    const std::lock_guard guard(lifeLock);
    StopThreads();
    return SABLE_OK;
}

int32_t Engine::Close() {
    if (EventThread::IsInCallback()) return SABLE_FAILED;
    const std::lock_guard guard(lifeLock);
    isClosed = true;
    StopThreads();
    transport = nullptr;
    return SABLE_OK;
}

int32_t Engine::SetTimeout(uint32_t milliseconds) {
    if (milliseconds == 0) return SABLE_BAD_ARGUMENT;
    timeout = milliseconds;
    return SABLE_OK;
}

int32_t Engine::Execute(const std::shared_ptr<Request> &request, Urgency urgency, bool &isAnswered) {
    std::shared_ptr<TargetThread> thread;
    {
        const std::lock_guard threadGuard(threadLock);
        thread = targetThread;
    }
    isAnswered = false;
    if (thread == nullptr) return SABLE_FAILED;
    // A century is as good as for ever, and no clock overflows.
    constexpr uint64_t longest = uint64_t(100) * 365 * 24 * 3600 * 1000;
    const uint64_t limit = std::min(longest, uint64_t(timeout) * (uint64_t(retryCount) + 1));
    return thread->Execute(request, std::chrono::milliseconds(limit), urgency == Urgency::urgent, isAnswered);
}

} // namespace sable
