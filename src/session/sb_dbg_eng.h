#pragma once

#include "platform/sync.h"
#include "session/code_break_points.h"
#include "session/dbg_eng.h"

#include <atomic>
#include <memory>
#include <optional>
#include <string>

struct ktEngineTable;

/// The engine over an engine library. A thin layer: it translates records and numbers, picks the function
/// for an address's kind, and returns the library's statuses. It takes no lock around a call, so that one
/// command thread gets through while the other waits in the library.
class ktSbDbgEng final : public ktDbgEng, private ktCodeBreakPoints {
public:
    /// An engine over the process's library; null without one.
    static std::unique_ptr<ktDbgEng> Create();
    /// `newTable` stays the caller's and outlives the engine.
    explicit ktSbDbgEng(const ktEngineTable &newTable) : table(&newTable) {}
    /// Closes the library's handles; once that is done the library calls back no more.
    ~ktSbDbgEng() override;
    ktSbDbgEng(const ktSbDbgEng &) = delete;
    ktSbDbgEng &operator=(const ktSbDbgEng &) = delete;

    /// Closes what is open first. Without an address the transport's first interface is taken. A failure
    /// leaves the engine closed.
    ktStatus Connect(uint32_t newTransport, const char *address) override;
    /// Registers also with a library that has no handle yet; the result is then what it says to that.
    ktStatus SetEventCallback(ktEventCallback callback, void *context) override;
    ktStatus Ping() override;
    ktStatus Go() override;
    ktStatus BreakIn() override;
    ktStatus Step(bool ignoreInterrupts) override;
    ktStatus Reboot() override;
    ktStatus GetStateInfo(ktStopState *state) override;
    /// A core that needs more than 32 bits is a bad argument.
    ktStatus SwitchCpu(uint64_t core) override;
    ktStatus GetCpuInfo(uint64_t *currentCore, uint64_t *coreCount) override;
    ktStatus GetContext(ktContext *context) override;
    ktStatus SetContext(const ktContext *context) override;
    ktStatus CpuId(uint32_t leaf, uint32_t subleaf, uint32_t out[4]) override;
    /// A size that needs more than 32 bits is a bad argument, here and below.
    ktStatus ReadTarget(ktAddress &address, void *buffer, uint64_t size, uint64_t *done) override;
    ktStatus WriteTarget(ktAddress &address, const void *buffer, uint64_t size, uint64_t *done) override;
    /// `result` may be null.
    ktStatus WalkPage(const ktAddress &address, ktPageWalkResult *result) override;
    /// `physical` may be null for a physical address.
    ktStatus ToPhysical(const ktAddress &address, uint64_t *physical) override;
    ktStatus SearchMemory(const ktAddress &start, const uint64_t *end, const void *pattern,
                          uint32_t patternSize, uint32_t step, ktAddress *hit) override;
    ktStatus ComputeSha1(const ktAddress &address, uint8_t (&digest)[20], uint64_t size,
                         uint64_t *done) override;
    /// Where bytes go that the target sends outside the protocol; null drops them. Always 0.
    ktStatus SetLogSink(ktLines *sink) override;
    uint32_t GetEngineType() override { return ktEngineSable; }
    ktCodeBreakPoints *CodeBreakPoints() override { return this; }

    bool IsOpen() const { return engine && transport; }
    /// True when the interface was chosen here, for want of an address.
    bool IsAutoInterface() const { return autoInterface; }
    /// What was passed to the transport; null for nothing.
    const char *InterfaceName() const { return interfaceName ? interfaceName->c_str() : nullptr; }

private:
    ktStatus Set(uint64_t physical, uint16_t &number) override;
    ktStatus Remove(uint16_t number) override;
    ktStatus Clear() override;
    ktStatus AddFilter(uint16_t number, const ktSbRawFilter &filter, uint16_t &filterNumber) override;
    ktStatus RemoveFilter(uint16_t number, uint16_t filterNumber) override;
    ktStatus ClearFilters(uint16_t number) override;
    ktStatus GetInfo(ktSbRawBreakPoint *records, uint16_t first, uint16_t &count, uint16_t &total) override;
    ktStatus GetFilterInfo(ktSbRawFilter *records, uint16_t number, uint16_t first, uint16_t &count) override;

    ktStatus Open(uint32_t transportNumber, const char *address);
    void ChooseInterface(const char *address);
    ktStatus StartEngine();
    void Close();
    static void OnEvent(void *self, uint8_t event);
    static void OnRawData(void *self, const void *bytes, uint32_t size);

    const ktEngineTable *table;
    void *engine = nullptr;    ///< the library's handle; null when closed
    void *transport = nullptr; ///< the same
    bool autoInterface = false;
    std::optional<std::string> interfaceName;
    std::atomic<ktLines *> logSink{nullptr};
    ktCriticalSection eventLock; ///< over the two below; never held across a call
    ktEventCallback eventCallback = nullptr;
    void *eventContext = nullptr;
};
