#pragma once

#include "abi/functions.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// Script, diary and little machine of the engine library that tests load. There is one, and it lives in that
/// library. All operations may be called from any thread.
class ktTestEngine {
public:
    static constexpr int32_t failure = SABLE_FAILED;
    static constexpr uint64_t rootMask = 0x000FFFFFFFFFF000;

    /// What a call does under the lock when the script does not replace it.
    using Body = std::function<int32_t()>;
    struct BreakPoint {
        uint64_t physical = 0;
        uint8_t savedByte = 0;
        std::map<uint16_t, ktSbRawFilter> filters;
    };
    /// All that a test may set; only within With() while the library is in use.
    struct Machine {
        std::vector<std::string> interfaces = {"demo"};
        ktRawContext context = {};
        uint32_t mode = ktSbModeLong64;
        ktSbRawState state = {};
        uint8_t currentCore = 0;
        uint8_t coreCount = 1;
        std::map<uint32_t, ktSbRawCpuId> cpuIds;
        std::map<uint32_t, uint64_t> msrs;
        std::map<uint64_t, std::array<uint8_t, 4096>> pages; ///< physical memory by page number
        /// Page numbers by masked root and linear page number; what is not in it stands for itself.
        std::map<std::pair<uint64_t, uint64_t>, uint64_t> translations;
        ktSbRawPageWalk walk = {};
        uint64_t searchHit = 0;
        std::array<uint8_t, 20> digest = {};
        std::map<uint16_t, BreakPoint> breakPoints;
        uint16_t infoPerCall = ktSbInfoCount; ///< most records that one listing gives
    };

    /// Back to the state of a library that was just loaded.
    void Reset() {
        const std::lock_guard lock(mutex);
        calls.clear();
        rules.clear();
        holds.clear();
        callCount = 0;
        failingCall = 0;
        recording = true;
        hook = nullptr;
        machine = Machine();
        liveHandles.clear();
        handleCount = {};
        eventCallback = nullptr;
        rawDataCallback = nullptr;
    }

    /// The function's calls after the next `after` ones do nothing but return `status`, `times` of them.
    void Fail(const std::string &function, int32_t status = failure, size_t times = SIZE_MAX,
              size_t after = 0) {
        const std::lock_guard lock(mutex);
        rules[function] = {after, times, status, false};
    }
    /// The function's calls do what they are for, and return `status` all the same.
    void Misreport(const std::string &function, int32_t status) {
        const std::lock_guard lock(mutex);
        rules[function] = {0, SIZE_MAX, status, true};
    }
    /// The call number `number` from here on fails, whatever function it is. 1 is the next; 0 ends that.
    void FailCall(uint64_t number) {
        const std::lock_guard lock(mutex);
        callCount = 0;
        failingCall = number;
    }
    /// Calls since FailCall.
    uint64_t CallCount() {
        const std::lock_guard lock(mutex);
        return callCount;
    }
    /// Calls of the function wait inside until Free.
    void Hold(const std::string &function) {
        const std::lock_guard lock(mutex);
        holds[function] = false;
    }
    void WaitUntilHeld(const std::string &function) {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return holds[function]; });
    }
    void Free(const std::string &function) {
        const std::lock_guard lock(mutex);
        holds.erase(function);
        changed.notify_all();
    }
    /// Called at the start of each call, without a lock.
    void SetHook(std::function<void(const std::string &function)> newHook) {
        const std::lock_guard lock(mutex);
        hook = std::move(newHook);
    }
    /// Calls are no longer written down, for long runs.
    void StopRecording() {
        const std::lock_guard lock(mutex);
        recording = false;
    }

    /// All calls in order, as "Name arguments".
    std::vector<std::string> Calls() {
        const std::lock_guard lock(mutex);
        return calls;
    }
    std::vector<std::string> Names() {
        std::vector<std::string> names = Calls();
        for (std::string &name : names) name = name.substr(0, name.find(' '));
        return names;
    }
    size_t Count(const std::string &function) {
        const std::vector<std::string> names = Names();
        return static_cast<size_t>(std::count(names.begin(), names.end(), function));
    }
    void ForgetCalls() {
        const std::lock_guard lock(mutex);
        calls.clear();
    }
    /// Handles that were made and not destroyed.
    size_t LiveHandles() {
        const std::lock_guard lock(mutex);
        return liveHandles.size();
    }

    template <typename F>
    void With(F &&change) {
        const std::lock_guard lock(mutex);
        change(machine);
    }
    void Map(uint64_t physical, uint64_t size) {
        With([&](Machine &m) {
            for (uint64_t page = physical >> 12; page <= (physical + size - 1) >> 12; ++page)
                m.pages[page].fill(static_cast<uint8_t>(page));
        });
    }

    /// Calls the registered callback on this thread.
    void RaiseEvent(uint8_t event) {
        ktSbEventCallback callback;
        void *context;
        {
            const std::lock_guard lock(mutex);
            callback = eventCallback;
            context = eventContext;
        }
        if (callback) callback(context, event);
    }
    void SendRawData(const std::string &bytes) {
        ktSbRawDataCallback callback;
        void *context;
        {
            const std::lock_guard lock(mutex);
            callback = rawDataCallback;
            context = rawDataContext;
        }
        if (callback) callback(context, bytes.data(), static_cast<uint32_t>(bytes.size()));
    }

    /// One call of the library: writes it down and plays the script, or runs `body` under the lock.
    int32_t Play(const char *function, const std::string &arguments, const Body &body) {
        std::unique_lock lock(mutex);
        if (recording) calls.push_back(arguments.empty() ? function : function + (" " + arguments));
        if (hook) {
            const auto called = hook;
            lock.unlock();
            called(function);
            lock.lock();
        }
        if (const auto held = holds.find(function); held != holds.end()) {
            held->second = true;
            changed.notify_all();
            changed.wait(lock, [&] { return holds.count(function) == 0; });
        }
        if (++callCount == failingCall) return failure;
        if (const auto rule = rules.find(function); rule != rules.end()) {
            if (rule->second.after > 0) {
                --rule->second.after;
            } else if (rule->second.times > 0) {
                if (rule->second.times != SIZE_MAX) --rule->second.times;
                if (rule->second.works) body();
                return rule->second.status;
            }
        }
        return body();
    }

    // For the library's functions, under the lock.
    Machine machine;
    ktSbEventCallback eventCallback = nullptr;
    void *eventContext = nullptr;
    ktSbRawDataCallback rawDataCallback = nullptr;
    void *rawDataContext = nullptr;

    /// A new handle: "T1", "E1" and so on in the diary.
    void *MakeHandle(char kind) {
        const uint32_t number = ++handleCount[kind];
        char *handle = &handleNames.emplace_back(kind + std::to_string(number)).front();
        liveHandles.insert(handle);
        return handle;
    }
    bool IsLive(void *handle) const { return liveHandles.count(handle) != 0; }
    bool DestroyHandle(void *handle) { return liveHandles.erase(handle) != 0; }
    uint64_t Translate(uint64_t root, uint64_t linear) const {
        const auto page = machine.translations.find({root & rootMask, linear >> 12});
        return page == machine.translations.end() ? linear : page->second << 12 | (linear & 0xFFF);
    }
    /// The byte at a physical address; null where there is no memory.
    uint8_t *ByteAt(uint64_t physical) {
        const auto page = machine.pages.find(physical >> 12);
        return page == machine.pages.end() ? nullptr : &page->second[physical & 0xFFF];
    }

private:
    struct Rule {
        size_t after = 0;
        size_t times = 0;
        int32_t status = 0;
        bool works = false;
    };

    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> calls;
    std::map<std::string, Rule> rules;
    std::map<std::string, bool> holds; // true: a call waits
    uint64_t callCount = 0;
    uint64_t failingCall = 0;
    bool recording = true;
    std::function<void(const std::string &)> hook;
    std::set<void *> liveHandles;
    std::map<char, uint32_t> handleCount;
    std::deque<std::string> handleNames; // the handles point here; never freed, so that none comes twice
};
