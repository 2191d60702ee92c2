#pragma once

#include "session/context.h"
#include "session/dbg_eng.h"
#include "session/page_walk_result.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <condition_variable>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

/// The script and the diary of ktFakeDbgEng. It outlives the engines, which a session makes and destroys.
/// All operations may be called from any thread.
class ktFakeTarget {
public:
    static constexpr ktStatus failure = static_cast<int32_t>(0xC0000001);

    ktFakeTarget() { current = this; }
    ~ktFakeTarget() { current = nullptr; }
    ktFakeTarget(const ktFakeTarget &) = delete;
    ktFakeTarget &operator=(const ktFakeTarget &) = delete;

    /// For ktSessionFactories::createLibraryEngine: an engine on the ktFakeTarget that lives now, or null.
    static std::unique_ptr<ktDbgEng> CreateEngine();

    /// The operation's calls after the next `after` ones do nothing but return `status`, `times` of them.
    void Fail(const std::string &operation, ktStatus status = failure, size_t times = SIZE_MAX,
              size_t after = 0) {
        std::lock_guard lock(mutex);
        std::deque<Rule> &list = rules[operation];
        if (after > 0) list.push_back({after, false, 0});
        list.push_back({times, true, status});
    }
    /// Ends what Fail began.
    void Mend(const std::string &operation) {
        std::lock_guard lock(mutex);
        rules.erase(operation);
    }

    /// The next call of the operation waits inside until Free.
    void Hold(const std::string &operation) {
        std::lock_guard lock(mutex);
        holds[operation] = {};
    }
    /// Returns once a call waits in the operation.
    void WaitUntilHeld(const std::string &operation) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return holds[operation].waiting; });
    }
    void Free(const std::string &operation) {
        std::lock_guard lock(mutex);
        holds.erase(operation);
        changed.notify_all();
    }

    /// All calls in order, as "Name arguments".
    std::vector<std::string> Calls() const {
        std::lock_guard lock(mutex);
        return calls;
    }
    /// The names alone.
    std::vector<std::string> Names() const {
        std::vector<std::string> names = Calls();
        for (std::string &name : names) name = name.substr(0, name.find(' '));
        return names;
    }
    size_t Count(const std::string &operation) const {
        const std::vector<std::string> names = Names();
        return static_cast<size_t>(std::count(names.begin(), names.end(), operation));
    }
    void ForgetCalls() {
        std::lock_guard lock(mutex);
        calls.clear();
    }
    /// Calls are no longer written down, for long runs.
    void StopRecording() {
        std::lock_guard lock(mutex);
        recording = false;
    }

    void SetStop(bool running, uint32_t reason) {
        std::lock_guard lock(mutex);
        stop = {running, reason};
    }
    void SetCores(uint64_t newCurrentCore, uint64_t newCoreCount) {
        std::lock_guard lock(mutex);
        currentCore = newCurrentCore;
        coreCount = newCoreCount;
    }
    void SetRegister(uint32_t index, uint64_t value) {
        std::lock_guard lock(mutex);
        values[index] = value;
    }
    void SetMode(uint32_t newMode) {
        std::lock_guard lock(mutex);
        mode = newMode;
    }
    /// Each further Step takes the next of these as the instruction pointer; the last one stays.
    void SetPath(std::deque<uint64_t> pointers) {
        std::lock_guard lock(mutex);
        path = std::move(pointers);
    }
    void SetCpuId(uint32_t leaf, const uint32_t (&words)[4]) {
        std::lock_guard lock(mutex);
        std::copy(words, words + 4, cpuIds[leaf].begin());
    }

    /// Gives the pages of [address, address + size) memory, filled with their page number's low byte.
    void Map(uint64_t address, uint64_t size) {
        std::lock_guard lock(mutex);
        for (uint64_t page = address >> 12; page <= (address + size - 1) >> 12; ++page) {
            pages.try_emplace(page, 4096, static_cast<uint8_t>(page));
        }
    }
    void Unmap(uint64_t address) {
        std::lock_guard lock(mutex);
        pages.erase(address >> 12);
    }
    /// Writes into mapped memory.
    void Poke(uint64_t address, const std::vector<uint8_t> &bytes) {
        std::lock_guard lock(mutex);
        Put(address, bytes.data(), bytes.size());
    }
    /// Base that is added to the addresses of kind virtual.
    void SetSegmentBase(uint64_t base) {
        std::lock_guard lock(mutex);
        segmentBase = base;
    }
    /// A read that comes to an unmapped page succeeds with what came before it.
    void AllowShortReads() {
        std::lock_guard lock(mutex);
        shortReads = true;
    }

    /// What reads of that kind, a port or a register, give: from the start each time, 0 behind the end.
    void SetSource(uint32_t kind, const std::vector<uint8_t> &bytes) {
        std::lock_guard lock(mutex);
        sources[kind] = bytes;
    }
    /// No read and no write says more than this many bytes done.
    void LimitTransfers(uint64_t bytes) {
        std::lock_guard lock(mutex);
        transferLimit = bytes;
    }
    /// The registers that the last GetContext asked for.
    uint64_t WantedMask() const {
        std::lock_guard lock(mutex);
        return wantedMask;
    }
    /// The bytes of the last write, of any kind.
    std::vector<uint8_t> LastWritten() const {
        std::lock_guard lock(mutex);
        return written;
    }
    /// WalkPage and ToPhysical are not supported before.
    void SetTranslation(const ktPageWalkResult &newWalk, uint64_t newPhysical) {
        std::lock_guard lock(mutex);
        walk = newWalk;
        physical = newPhysical;
    }

    /// Calls the registered callback on a thread of its own, and waits for it to return.
    void RaiseEvent(uint32_t event) {
        ktEventCallback call;
        void *context;
        {
            std::lock_guard lock(mutex);
            call = callback;
            context = callbackContext;
        }
        if (call) std::thread(call, context, event).join();
    }
    ktLines *LogSink() const {
        std::lock_guard lock(mutex);
        return logSink;
    }

private:
    friend class ktFakeDbgEng;

    struct Rule {
        size_t times;
        bool fails;
        ktStatus status;
    };
    struct Gate {
        bool waiting = false;
    };

    /// Writes the call down, waits at a gate, and plays the script: true with the status to return.
    bool Enter(std::unique_lock<std::mutex> &lock, const char *operation, ktStatus &status,
               const char *format = nullptr, ...) __attribute__((format(printf, 5, 6))) {
        char text[256] = "";
        if (format) {
            va_list arguments;
            va_start(arguments, format);
            text[0] = ' ';
            std::vsnprintf(text + 1, sizeof(text) - 1, format, arguments);
            va_end(arguments);
        }
        if (recording) calls.push_back(std::string(operation) + text);
        if (holds.count(operation)) {
            holds[operation].waiting = true;
            changed.notify_all();
            changed.wait(lock, [&] { return holds.count(operation) == 0; });
        }
        std::deque<Rule> &list = rules[operation];
        if (list.empty()) return false;
        Rule rule = list.front();
        if (rule.times != SIZE_MAX && --list.front().times == 0) list.pop_front();
        if (rule.fails) status = rule.status;
        return rule.fails;
    }

    bool Put(uint64_t address, const uint8_t *bytes, uint64_t size) {
        for (uint64_t i = 0; i < size; ++i) {
            const auto page = pages.find((address + i) >> 12);
            if (page == pages.end()) return false;
            page->second[(address + i) & 0xFFF] = bytes[i];
        }
        return true;
    }

    uint64_t Linear(const ktAddress &address) const {
        return address.value + (address.kind == ktAddress::kindVirtual ? segmentBase : 0);
    }

    static inline ktFakeTarget *current = nullptr;

    mutable std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> calls;
    bool recording = true;
    std::map<std::string, std::deque<Rule>> rules;
    std::map<std::string, Gate> holds;
    ktStopState stop;
    uint64_t currentCore = 0;
    uint64_t coreCount = 1;
    uint32_t mode = 6;
    uint64_t values[ktRegisterCount] = {};
    std::deque<uint64_t> path;
    std::map<uint32_t, std::array<uint32_t, 4>> cpuIds;
    std::map<uint64_t, std::vector<uint8_t>> pages;
    uint64_t segmentBase = 0;
    bool shortReads = false;
    std::map<uint32_t, std::vector<uint8_t>> sources;
    uint64_t transferLimit = UINT64_MAX;
    uint64_t wantedMask = 0;
    std::vector<uint8_t> written;
    std::optional<ktPageWalkResult> walk;
    uint64_t physical = 0;
    ktEventCallback callback = nullptr;
    void *callbackContext = nullptr;
    ktLines *logSink = nullptr;
};

/// An engine that plays what its ktFakeTarget says. It writes each call down, and its end as "Destroy".
class ktFakeDbgEng : public ktDbgEng {
public:
    explicit ktFakeDbgEng(ktFakeTarget &newTarget) : target(newTarget) {}
    ~ktFakeDbgEng() override {
        std::unique_lock lock(target.mutex);
        ktStatus ignored = 0;
        target.Enter(lock, "Destroy", ignored);
        target.callback = nullptr;
    }

    ktStatus Connect(uint32_t transport, const char *address) override {
        std::unique_lock lock(target.mutex);
        ktStatus status = 0;
        target.Enter(lock, "Connect", status, "%u %s", transport, address ? address : "(null)");
        return status;
    }
    ktStatus SetEventCallback(ktEventCallback callback, void *context) override {
        std::unique_lock lock(target.mutex);
        ktStatus status = 0;
        target.callback = callback;
        target.callbackContext = context;
        target.Enter(lock, "SetEventCallback", status);
        return status;
    }
    ktStatus Ping() override { return Plain("Ping"); }
    ktStatus Go() override {
        std::unique_lock lock(target.mutex);
        ktStatus status = 0;
        if (target.Enter(lock, "Go", status)) return status;
        target.stop.running = true;
        return 0;
    }
    ktStatus BreakIn() override {
        std::unique_lock lock(target.mutex);
        ktStatus status = 0;
        if (target.Enter(lock, "BreakIn", status)) return status;
        target.stop.running = false;
        return 0;
    }
    ktStatus Step(bool ignoreInterrupts) override {
        std::unique_lock lock(target.mutex);
        ktStatus status = 0;
        if (target.Enter(lock, "Step", status, "%d", ignoreInterrupts)) return status;
        if (!target.path.empty()) {
            target.values[ktRegIp] = target.path.front();
            target.path.pop_front();
        }
        return 0;
    }
    ktStatus Reboot() override { return Plain("Reboot"); }
    ktStatus GetStateInfo(ktStopState *state) override {
        std::unique_lock lock(target.mutex);
        ktStatus status = 0;
        if (target.Enter(lock, "GetStateInfo", status)) return status;
        *state = target.stop;
        return 0;
    }
    ktStatus SwitchCpu(uint64_t core) override {
        std::unique_lock lock(target.mutex);
        ktStatus status = 0;
        if (target.Enter(lock, "SwitchCpu", status, "%" PRIu64, core)) return status;
        target.currentCore = core;
        return 0;
    }
    ktStatus GetCpuInfo(uint64_t *currentCore, uint64_t *coreCount) override {
        std::unique_lock lock(target.mutex);
        ktStatus status = 0;
        if (target.Enter(lock, "GetCpuInfo", status)) return status;
        if (currentCore) *currentCore = target.currentCore;
        if (coreCount) *coreCount = target.coreCount;
        return 0;
    }
    ktStatus GetContext(ktContext *context) override {
        std::unique_lock lock(target.mutex);
        ktStatus status = 0;
        target.wantedMask = context->wantedMask;
        if (target.Enter(lock, "GetContext", status)) return status;
        context->mode = target.mode;
        for (uint32_t i = 0; i < ktRegisterCount; ++i) {
            if (context->wantedMask >> std::min(i, 63u) & 1) context->values[i] = target.values[i];
        }
        context->validMask |= context->wantedMask;
        context->complete = context->validMask == context->wantedMask;
        return 0;
    }
    ktStatus SetContext(const ktContext *context) override {
        std::unique_lock lock(target.mutex);
        ktStatus status = 0;
        if (target.Enter(lock, "SetContext", status)) return status;
        for (uint32_t i = 0; i < ktRegisterCount; ++i) {
            if (context->wantedMask >> std::min(i, 63u) & 1) target.values[i] = context->values[i];
        }
        return 0;
    }
    ktStatus CpuId(uint32_t leaf, uint32_t subleaf, uint32_t out[4]) override {
        std::unique_lock lock(target.mutex);
        ktStatus status = 0;
        if (target.Enter(lock, "CpuId", status, "%08X %u", leaf, subleaf)) return status;
        const std::array<uint32_t, 4> &words = target.cpuIds[leaf];
        std::copy(words.begin(), words.end(), out);
        return 0;
    }
    ktStatus ReadTarget(ktAddress &address, void *buffer, uint64_t size, uint64_t *done) override {
        std::unique_lock lock(target.mutex);
        if (done) *done = 0;
        ktStatus status = 0;
        if (EnterAt(lock, "ReadTarget", address, size, status)) return status;
        size = std::min(size, target.transferLimit);
        if (const auto source = target.sources.find(address.kind); source != target.sources.end()) {
            auto *out = static_cast<uint8_t *>(buffer);
            for (uint64_t i = 0; i < size; ++i)
                out[i] = i < source->second.size() ? source->second[i] : uint8_t{0};
            if (done) *done = size;
            return 0;
        }
        if (address.kind == 0 || address.kind > ktAddress::kindPhysical) return ktBadArgument;
        const uint64_t from = target.Linear(address);
        auto *bytes = static_cast<uint8_t *>(buffer);
        uint64_t came = 0;
        for (; came < size; ++came) {
            const auto page = target.pages.find((from + came) >> 12);
            if (page == target.pages.end()) break;
            bytes[came] = page->second[(from + came) & 0xFFF];
        }
        if (came < size && (came == 0 || !target.shortReads)) return ktFakeTarget::failure;
        if (done) *done = came;
        return 0;
    }
    ktStatus WriteTarget(ktAddress &address, const void *buffer, uint64_t size, uint64_t *done) override {
        std::unique_lock lock(target.mutex);
        if (done) *done = 0;
        ktStatus status = 0;
        if (EnterAt(lock, "WriteTarget", address, size, status)) return status;
        const auto *bytes = static_cast<const uint8_t *>(buffer);
        target.written.assign(bytes, bytes + size);
        size = std::min(size, target.transferLimit);
        if (address.kind == ktAddress::kindIoPort) {
            if (done) *done = size;
            return 0;
        }
        if (address.kind == 0 || address.kind > ktAddress::kindPhysical) return ktBadArgument;
        if (!target.Put(target.Linear(address), static_cast<const uint8_t *>(buffer), size)) {
            return ktFakeTarget::failure;
        }
        if (done) *done = size;
        return 0;
    }
    ktStatus WalkPage(const ktAddress &address, ktPageWalkResult *result) override {
        std::unique_lock lock(target.mutex);
        ktStatus status = 0;
        if (EnterAt(lock, "WalkPage", address, 0, status)) return status;
        if (!target.walk) return ktNotSupported;
        if (address.kind != ktAddress::kindVirtual && address.kind != ktAddress::kindLinear)
            return ktBadArgument;
        *result = *target.walk;
        return 0;
    }
    ktStatus ToPhysical(const ktAddress &address, uint64_t *physical) override {
        std::unique_lock lock(target.mutex);
        ktStatus status = 0;
        if (EnterAt(lock, "ToPhysical", address, 0, status)) return status;
        if (!target.walk) return ktNotSupported;
        if (address.kind == 0 || address.kind > ktAddress::kindPhysical) return ktBadArgument;
        *physical = address.kind == ktAddress::kindPhysical ? address.value : target.physical;
        return 0;
    }
    ktStatus SearchMemory(const ktAddress &start, const uint64_t *end, const void *pattern,
                          uint32_t patternSize, uint32_t step, ktAddress *hit) override {
        std::unique_lock lock(target.mutex);
        ktStatus status = 0;
        if (EnterAt(lock, "SearchMemory", start, *end, status)) return status;
        const auto *wanted = static_cast<const uint8_t *>(pattern);
        // Towards the end, which is itself a place to look at when it lies below the start.
        const bool down = *end <= start.value;
        for (uint64_t left = (down ? start.value - *end : *end - 1 - start.value) / step + 1,
                      at = start.value;
             left > 0; --left, at = down ? at - step : at + step) {
            uint32_t same = 0;
            for (; same < patternSize; ++same) {
                const auto page = target.pages.find((at + same) >> 12);
                if (page == target.pages.end() || page->second[(at + same) & 0xFFF] != wanted[same]) break;
            }
            if (same < patternSize) continue;
            *hit = start;
            hit->value = at;
            return 0;
        }
        return ktFakeTarget::failure;
    }
    ktStatus ComputeSha1(const ktAddress &, uint8_t (&)[20], uint64_t, uint64_t *) override {
        return Plain("ComputeSha1", ktNotSupported);
    }
    ktStatus SetLogSink(ktLines *sink) override {
        std::unique_lock lock(target.mutex);
        ktStatus status = 0;
        target.logSink = sink;
        target.Enter(lock, "SetLogSink", status);
        return status;
    }
    uint32_t GetEngineType() override { return ktEngineSable; }

private:
    ktStatus Plain(const char *operation, ktStatus status = 0) {
        std::unique_lock lock(target.mutex);
        target.Enter(lock, operation, status);
        return status;
    }
    bool EnterAt(std::unique_lock<std::mutex> &lock, const char *operation, const ktAddress &address,
                 uint64_t size, ktStatus &status) {
        const std::string width = address.width == 0 ? "" : " width " + std::to_string(address.width);
        return target.Enter(lock, operation, status,
                            "kind %u at %04X:%" PRIX64 " root %" PRIX64 " attribute %u for %" PRIX64 "%s",
                            address.kind, address.selector, address.value, address.root, address.attribute,
                            size, width.c_str());
    }

    ktFakeTarget &target;
};

inline std::unique_ptr<ktDbgEng> ktFakeTarget::CreateEngine() {
    return current ? std::make_unique<ktFakeDbgEng>(*current) : nullptr;
}
