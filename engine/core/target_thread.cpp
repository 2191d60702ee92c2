#include "core/target_thread.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "core/event_thread.h"

namespace sable {

namespace {

/// Waits a moment for `flag`, awake. A debugger asks for one thing after the other, and two threads that
/// sleep and wake each other in turn take many times as long as the work. The processor is not given away
/// meanwhile: on a busy machine it would be away for long.
void MeetAwake(const std::atomic<bool> &flag, std::unique_lock<std::mutex> &guard) {
    constexpr std::chrono::microseconds moment(20);
    static const bool isAlone = std::thread::hardware_concurrency() == 1;
    if (isAlone) return; // whoever sets the flag needs this processor
    guard.unlock();
    const auto end = std::chrono::steady_clock::now() + moment;
    while (!flag && std::chrono::steady_clock::now() < end) {
    }
    guard.lock();
}

} // namespace

TargetThread::~TargetThread() { Stop(); }

int32_t TargetThread::Start(Maker make) {
    // The first thing that the thread is asked; it is answered as soon as there is a target.
    struct Started final : Request {
        int32_t Run(TargetSession &) override { return SABLE_OK; }
    };
    const auto started = std::make_shared<Started>();
    ordinary.push_back(started);
    thread = std::thread([this, make = std::move(make)] { Main(make, std::unique_lock(lock)); });
    int32_t status;
    {
        std::unique_lock guard(lock);
        started->answered.wait(guard, [&] { return started->isAnswered; });
        status = started->status;
    }
    if (status < 0) Stop();
    return status;
}

void TargetThread::Stop() {
    if (!thread.joinable()) return;
    {
        const std::lock_guard guard(lock);
        isStopping = true;
        NoteChange();
    }
    thread.join();
}

void TargetThread::Wake() {
    // Under the lock, or the thread might look just before and sleep just after.
    const std::lock_guard guard(lock);
    NoteChange();
}

void TargetThread::NoteChange() {
    hasChanged = true;
    changed.notify_one();
}

int32_t TargetThread::Execute(const std::shared_ptr<Request> &request, std::chrono::milliseconds limit,
                              bool isUrgent, bool &isAnswered) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    isAnswered = false;
    std::unique_lock guard(lock);
    if (isStopping || isEnded) return SABLE_FAILED;
    Queue &queue = isUrgent ? urgent : ordinary;
    queue.push_back(request);
    if (isUrgent) ++urgentCount;
    NoteChange();
    MeetAwake(request->isReady, guard);
    if (request->answered.wait_until(guard, deadline, [&] { return request->isAnswered; })) {
        // Those that the end of the thread answers have not been served.
        isAnswered = !request->isAbandoned;
        return request->status;
    }
    request->isAbandoned = true;
    if (const auto place = std::find(queue.begin(), queue.end(), request); place != queue.end()) {
        queue.erase(place);
        if (isUrgent) --urgentCount;
    }
    return SABLE_FAILED;
}

bool TargetThread::GoOn() {
    if (urgentCount != 0) {
        std::unique_lock guard(lock);
        while (ServeNext(*session, guard, urgent)) {
        }
    }
    return !isStopping && (current == nullptr || !current->isAbandoned);
}

bool TargetThread::ServeNext(TargetSession &target, std::unique_lock<std::mutex> &guard, Queue &queue) {
    if (queue.empty()) return false;
    const std::shared_ptr<Request> request = std::move(queue.front());
    queue.pop_front();
    if (&queue == &urgent) --urgentCount;
    guard.unlock();
    Request *const outer = std::exchange(current, request.get());
    int32_t status;
    try {
        status = request->Run(target);
    } catch (const std::exception &) {
        status = SABLE_FAILED; // out of memory: the request has failed, and nothing else
    }
    current = outer;
    guard.lock();
    request->status = status;
    request->isAnswered = true;
    request->isReady = true;
    request->answered.notify_all();
    return true;
}

void TargetThread::RunSlice(TargetSession &target, std::unique_lock<std::mutex> &guard) {
    guard.unlock();
    try {
        target.RunSlice();
    } catch (const std::exception &) {
        target.ReportStop(ktSbStopException);
    }
    guard.lock();
}

void TargetThread::Serve(TargetSession &target, std::unique_lock<std::mutex> &guard) {
    while (!isStopping) {
        hasChanged = false;
        if (ServeNext(target, guard, urgent) || ServeNext(target, guard, ordinary)) continue;
        if (target.IsRunning() && !events.IsFull()) {
            RunSlice(target, guard);
            continue;
        }
        MeetAwake(hasChanged, guard);
        changed.wait(guard, [this] { return hasChanged.load(); });
    }
}

void TargetThread::Main(const Maker &make, std::unique_lock<std::mutex> guard) {
    guard.unlock();
    int32_t end = SABLE_FAILED;
    try {
        if (std::unique_ptr<Target> target = make(events)) {
            TargetSession made(std::move(target), events, *this);
            session = &made;
            guard.lock();
            Serve(made, guard);
            guard.unlock();
            session = nullptr;
        } else {
            end = SABLE_NOT_SUPPORTED;
        }
    } catch (const std::exception &) {
        end = SABLE_FAILED; // no memory for a target
    }
    guard.lock();
    isEnded = true;
    for (Queue *queue : {&urgent, &ordinary}) {
        for (const std::shared_ptr<Request> &request : *queue) {
            request->status = end;
            request->isAbandoned = true;
            request->isAnswered = true;
            request->answered.notify_all();
        }
        queue->clear();
    }
    urgentCount = 0;
}

} // namespace sable
