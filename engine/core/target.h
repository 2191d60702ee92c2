#pragma once

#include <cstdint>
#include <optional>

#include "abi/records.h"

namespace sable {

/// How the current core turns linear addresses into physical ones.
struct PagingFacts {
    uint16_t mode = ktSbPagingNone; ///< ktSbPaging
    bool hasLargePages = false;     ///< 32-bit paging: a directory entry may map 4 MiB
    bool hasGigabytePages = false;  ///< 4-level paging: an entry of the second level may map 1 GiB
    uint8_t physicalBits = 36;      ///< width of a physical address, 32 to 52
    uint64_t root = 0;              ///< the core's own root, as its register holds it
};

/// Decides at a fetch whether a code breakpoint counts. Called on the target's thread.
class StopQuery {
public:
    /// `root`: of the core that fetches, as its register holds it. `linear`: where it fetches. `physical`:
    /// the same place; one of the addresses the target was given. `offset`: the instruction pointer, which
    /// differs from `linear` where the code segment has a base.
    virtual bool ShouldStop(uint64_t root, uint64_t linear, uint64_t physical, uint64_t offset) = 0;

protected:
    ~StopQuery() = default;
};

/// What an engine talks to: a machine with cores, memory, ports and registers.
///
/// Made, used and destroyed on one thread. Each operation returns a status; one that a target does not have
/// stays SABLE_NOT_SUPPORTED. A target that is handed a bad number answers SABLE_BAD_ARGUMENT. Whether the
/// machine runs is kept by the caller: between Go and BreakIn, or a stop that Run reports, it runs.
class Target {
public:
    virtual ~Target() = default;

    /// What the machine does when the engine starts: stopped, unless the target says otherwise.
    virtual ktSbRawState StartState();

    /// Lets the machine run for a moment, well below 1 ms, and returns why it stopped, if it did. The core
    /// that stopped becomes the current one. Called over and over while the machine runs.
    virtual std::optional<ktSbStop> Run();
    /// Prepares for Run. The next instruction of the current core is executed without asking for breakpoints,
    /// or nobody could leave one.
    virtual int32_t Go();
    /// The machine runs no more; the current core is where it was when Run returned.
    virtual int32_t BreakIn();
    /// One instruction of the current core, breakpoints not asked for. `stop` is ktSbStopStep at the call,
    /// and is changed when something else ended the step.
    virtual int32_t Step(bool ignoreInterrupts, ktSbStop &stop);
    /// Resets the machine and leaves it stopped at its first instruction. Fetch stops stay.
    virtual int32_t Reboot();

    virtual int32_t SwitchCpu(uint32_t core);
    virtual int32_t GetCpuInfo(uint8_t &currentCore, uint8_t &coreCount);
    /// Registers of the current core: fills at least those in `mask` (ktSbRegister); `mode` is a ktSbMode.
    virtual int32_t GetContext(ktRawContext &context, uint64_t mask, uint32_t &mode);
    /// Sets those in `mask`, all or none.
    virtual int32_t SetContext(const ktRawContext &context, uint64_t mask);
    virtual int32_t GetPaging(PagingFacts &facts);
    virtual int32_t CpuId(uint32_t leaf, uint32_t subleaf, ktSbRawCpuId &result);
    virtual int32_t ReadMsr(uint32_t number, uint64_t &value);
    virtual int32_t WriteMsr(uint32_t number, uint64_t value);

    /// One access of 1, 2 or 4 bytes.
    virtual int32_t ReadIo(uint16_t port, uint8_t width, uint32_t &value);
    virtual int32_t WriteIo(uint16_t port, uint8_t width, uint32_t value);

    /// RAM, without side effects; what lies elsewhere is not read. SABLE_OK when all `size` bytes were done,
    /// else a failure with `done` bytes done from the start. Writes are seen by the machine at once, also
    /// where they change its page tables or its code. `done` is 0 at the call.
    virtual int32_t ReadPhysical(uint64_t address, void *buffer, uint32_t size, uint32_t &done);
    virtual int32_t WritePhysical(uint64_t address, const void *buffer, uint32_t size, uint32_t &done);
    /// The lowest address from `address` on that ReadPhysical may be able to read, or all ones when there is
    /// none; `address` itself when the target does not know.
    virtual uint64_t NextPhysical(uint64_t address);
    /// One access of 1, 2, 4 or 8 bytes as a core would make it, device or RAM; aligned to its width.
    virtual int32_t ReadMmio(uint64_t physical, uint8_t width, uint64_t &value);
    virtual int32_t WriteMmio(uint64_t physical, uint8_t width, uint64_t value);

    /// The one to ask at fetches; given once, before any address, and valid as long as the target.
    virtual void SetStopQuery(StopQuery *query);
    /// From now on `query` is asked before the instruction that begins at this physical address; each address
    /// is added once before it is removed.
    virtual int32_t AddFetchStop(uint64_t physical);
    virtual int32_t RemoveFetchStop(uint64_t physical);
};

/// Where a target leaves bytes that its machine sends, such as text. Any thread; never waits.
class RawDataSink {
public:
    virtual void PostRawData(const void *bytes, uint32_t size) = 0;

protected:
    ~RawDataSink() = default;
};

/// Asked by work that may take long, at least once a millisecond. Requests that cannot wait are served
/// meanwhile.
class WorkMonitor {
public:
    /// False: nobody waits for the result any more; give up.
    virtual bool GoOn() = 0;

protected:
    ~WorkMonitor() = default;
};

} // namespace sable
