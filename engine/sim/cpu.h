#pragma once

#include <cstdint>

#include "sim/block_cache.h"
#include "sim/bus.h"
#include "sim/fault.h"
#include "sim/physical_memory.h"
#include "sim/registers.h"
#include "sim/tlb.h"

namespace sable {

enum class StopReason : uint8_t {
    budget,     ///< as many instructions as asked for were executed
    halted,     ///< HLT; an interrupt goes on
    breakPoint, ///< BreakCheck said so; the instruction was not executed
    exit,       ///< RequestExit
    shutdown    ///< a fault while a double fault was being delivered; only Reset helps
};

enum class FirstBreak : uint8_t { check, pass };       ///< a breakpoint at the very first instruction
enum class Interrupts : uint8_t { deliver, holdBack }; ///< those that a program can disable
enum class Access : uint8_t { read, write, execute };

/// Where the bytes of one memory operand are: in one page, or in two.
struct Span {
    uint64_t physical[2];
    unsigned size, firstSize;
};

/// What a walk through the page tables found.
struct Leaf {
    uint64_t physical = 0;    ///< of the byte
    uint64_t entryAt[4] = {}; ///< physical addresses of the entries with an accessed bit, leaf last
    uint64_t entry[4] = {};   ///< their values
    unsigned entryCount = 0;
    unsigned entrySize = 8; ///< bytes
    bool isUser = true, isWritable = true, isExecutable = true, isGlobal = false, isLarge = false;
    bool isReserved = false; ///< bits are set that have to be 0
};

/// A memory operand that is read, changed and written back, checked for writing at once.
struct OperandPlace {
    uint8_t *host; ///< null: `span` counts
    uint64_t *codeMarks;
    uint64_t physical;
    Span span;
};

/// An x86 processor: real mode, protected mode, long mode; no virtual 8086 mode, no hardware task switch,
/// no floating point. Everything is called from one thread at a time. Time is counted in instructions.
class Cpu final {
public:
    Cpu(unsigned coreNumber, PhysicalMemory &ram, Bus &devices);
    Cpu(const Cpu &) = delete;
    Cpu &operator=(const Cpu &) = delete;

    // For the machine.

    /// The state after power on: real mode, first instruction at physical 0xFFFFFFF0.
    void Reset();
    /// Executes at most `budget` instructions. An interrupt or fault that is delivered counts as one, so does
    /// each stretch of up to repeatLimit rounds of a repeated string instruction.
    StopReason Run(uint64_t budget, FirstBreak firstBreak = FirstBreak::check,
                   Interrupts interrupts = Interrupts::deliver);
    /// One instruction, whatever breakpoints there are.
    StopReason Step(Interrupts interrupts) { return Run(1, FirstBreak::pass, interrupts); }
    /// The interrupt controller wants, or no longer wants, to be asked by Bus::AcknowledgeInterrupt.
    void SetInterruptLine(bool raised) { SetAttention(attentionLine, raised); }
    void RaiseNmi() { SetAttention(attentionNmi, true); }
    /// Run returns after the instruction that is being executed. For devices.
    void RequestExit();
    bool IsHalted() const { return (attention & attentionHalted) != 0; }
    void SetHalted(bool halted) { SetAttention(attentionHalted, halted); }
    /// Halted, and nothing that is there now wakes it.
    bool IsAsleep() const {
        constexpr uint32_t wakes = attentionTrap | attentionShutdown | attentionExit;
        const bool hasNmi = (attention & attentionNmi) != 0 && !isNmiBlocked;
        const bool hasLine = (attention & attentionLine) != 0 && registers.flags.Has(flagIf);
        return IsHalted() && (attention & wakes) == 0 && !hasNmi && !hasLine;
    }
    bool IsShutDown() const { return (attention & attentionShutdown) != 0; }
    void SetBreakCheck(BreakCheck *check) { breakCheck = check; }
    /// Has to be called after `registers`, or memory that holds page tables, was changed from outside.
    void Refresh();
    /// Instructions executed, and what AdvanceIdle added. This is what RDTSC shows.
    uint64_t Now() const { return executed + timeOffset; }
    void AdvanceIdle(uint64_t ticks) { timeOffset += ticks; }
    /// Instructions executed since the processor was made, whatever became of its time.
    uint64_t Executed() const { return executed; }
    unsigned Core() const { return core; }

    Registers registers;

    // For the functions that execute instructions.

    static constexpr unsigned repeatLimit = 256;
    static constexpr uint64_t widthMask[4] = {0xFF, 0xFFFF, 0xFFFFFFFF, ~uint64_t(0)};

    Bus &GetBus() { return bus; }
    bool IsProtected() const { return (registers.cr0 & cr0Pe) != 0; }
    bool IsLong() const { return (registers.msr.efer & eferLma) != 0; }
    bool Is64() const { return codeWidth == width64; }
    Width CodeWidth() const { return codeWidth; }
    unsigned Cpl() const { return cpl; }
    uint64_t StackMask() const { return stackMask; }
    uint64_t TimeAt(const Instruction &instruction) const;
    uint64_t NextRip(const Instruction &instruction) const;
    uint64_t ThisRip(const Instruction &instruction) const;
    /// Rounds that a repeated instruction may do before it lets others look.
    unsigned RoundLimit() const { return (attention & attentionSingle) != 0 ? 1 : repeatLimit; }
    bool IsBlockCut() const { return blockEnd == nullptr; }
    /// The instruction leaves in the middle of its rounds and goes on with the next block. Always false.
    bool LeaveRepeating(const Instruction &instruction);
    /// The instruction being executed is the last of its block.
    void CutBlock() { blockEnd = nullptr; }
    /// Nothing is delivered between the next instruction and the one after it.
    void ShadowInterrupts(ShadowKind kind);
    void EndNmi() { isNmiBlocked = false; }

    /// All return false.
    bool Raise(unsigned vector);
    bool Raise(unsigned vector, uint32_t error);
    bool RaiseGeneral(uint32_t error = 0) { return Raise(vectorGeneral, error); }
    /// #GP unless the program has privilege 0.
    bool RequirePrivilege0() { return cpl == 0 || RaiseGeneral(); }
    bool RaisePage(uint64_t linear, uint32_t error);
    bool IsFaulted() const { return isFaulted; }

    template <class T>
    T Get(uint8_t offset) const;
    /// A write of 32 bits clears the upper half.
    template <class T>
    void Set(uint8_t offset, T value);
    uint64_t Offset(const Instruction &instruction) const;

    template <class T>
    bool Load(unsigned segment, uint64_t offset, T &value);
    template <class T>
    bool Store(unsigned segment, uint64_t offset, T value);
    template <class T>
    bool Open(unsigned segment, uint64_t offset, OperandPlace &place, T &value);
    template <class T>
    void Close(const OperandPlace &place, T value);
    template <class T>
    bool Push(T value);
    /// Reads the top of the stack; `depth` bytes below it. The stack pointer stays.
    template <class T>
    bool Peek(uint64_t depth, T &value);
    void AddToStackPointer(uint64_t bytes);
    /// Goes to `target` in this code segment after checking it. Always false.
    bool JumpNear(uint64_t target);

    /// Memory as the processor itself reads it for descriptors: linear address, always as privilege 0.
    bool ReadSystem(uint64_t linear, unsigned size, uint64_t &value);
    bool WriteSystem(uint64_t linear, unsigned size, uint64_t value);
    /// The same as an access of that privilege.
    bool ReadLinear(uint64_t linear, unsigned size, bool isUser, uint64_t &value);
    bool WriteLinear(uint64_t linear, unsigned size, bool isUser, uint64_t value);
    /// Below this: what the instructions for segments, control registers and events consist of.
    bool Translate(uint64_t linear, Access access, bool isUser, uint64_t &physical);
    void FlushTlb(bool globalToo);
    void FlushPage(uint64_t linear);
    /// Takes the top level of PAE paging from memory. Raises and is false when an entry is malformed.
    bool LoadPdpte(uint64_t cr0, uint64_t cr3, uint64_t cr4);
    void RefreshMode();
    void SetFlags(uint32_t word);
    void SetAttention(uint32_t bit, bool on) { attention = on ? attention | bit : attention & ~bit; }
    /// After TF, RF or DR7 has changed.
    void RefreshDebug();
    /// Goes on in another code segment that has passed its checks. The privilege is that of the stack
    /// segment, so that goes first when it changes.
    void EnterCode(const SegmentRegister &code, uint64_t rip);
    /// INT n and its like: the handler returns behind the instruction. Always false.
    bool SoftwareInterrupt(const Instruction &instruction, unsigned vector, EventKind kind);
    /// A trap that is due when the instruction has ended; bits of DR6.
    void AddDebugTrap(uint64_t bits);
    void MarkEventDelivered() { isEventDelivered = true; }
    bool CheckPort(uint16_t port, unsigned size);

    enum AttentionBit : uint32_t {
        attentionLine = 1,
        attentionNmi = 2,
        attentionSingle = 4, ///< TF, RF or breakpoints of DR7: one instruction at a time
        attentionShadow = 8,
        attentionHalted = 16,
        attentionExit = 32,
        attentionShutdown = 64,
        attentionTrap = 128
    };

private:
    enum class Attended : uint8_t { run, again, stop };

    Attended Attend(Interrupts interrupts, StopReason &reason);
    void RunBlock(const Block &block, uint64_t budget);
    void RunSingle(const Block &block);
    const Block *FindBlock();
    const Block *DecodeBlock(uint64_t physical, Block &slot);
    const Block *DecodeAlone(uint64_t physical);
    bool FetchByte(unsigned at, uint8_t &byte);
    uint64_t LinearRip() const { return (registers.segment[segCs].activeBase + registers.rip) & linearMask; }
    uint64_t BytesToCodeLimit() const;
    uint64_t WithinCode(uint64_t rip) const { return codeWidth == width64 ? rip : rip & 0xFFFFFFFF; }
    void TakeTrap();
    bool IsAtCodeBreak(uint64_t linear);

    bool CheckOperand(unsigned segment, uint64_t offset, unsigned size, Access access, uint64_t &linear);
    bool Resolve(uint64_t linear, unsigned size, Access access, bool isUser, Span &span);
    bool ResolveOperand(unsigned segment, uint64_t offset, unsigned size, Access access, Span &span);
    bool LoadSlow(unsigned segment, uint64_t offset, unsigned size, uint64_t &value);
    bool StoreSlow(unsigned segment, uint64_t offset, unsigned size, uint64_t value);
    uint64_t ReadSpan(const Span &span);
    void WriteSpan(const Span &span, uint64_t value);
    uint64_t ReadPhysical(uint64_t physical, unsigned size);
    void WritePhysical(uint64_t physical, unsigned size, uint64_t value);
    void CheckWatches(uint64_t linear, unsigned size, Access access);
    void DropCode(uint64_t physical);
    void RefreshSegment(unsigned index);

    bool Walk(uint64_t linear, Leaf &leaf);
    bool WalkLegacy(uint64_t linear, Leaf &leaf);
    bool WalkWide(uint64_t linear, Leaf &leaf);
    bool IsPermitted(const Leaf &leaf, Access access, bool isUser) const;
    void SetUsedBits(const Leaf &leaf, bool isWrite);
    void Fill(uint64_t linear, uint64_t physical, const Leaf &leaf, bool isUser, bool isDirty);

    void DeliverFault();
    void DeliverExternal(unsigned vector, EventKind kind);
    bool Deliver(const Event &event);
    bool DeliverReal(const Event &event);
    bool DeliverProtected(const Event &event);
    bool DeliverLong(const Event &event);

    const unsigned core;
    PhysicalMemory &memory;
    Bus &bus;
    BreakCheck *breakCheck = nullptr;

    // Follows from the registers: RefreshMode.
    Width codeWidth = width16;
    unsigned cpl = 0;
    uint64_t stackMask = 0xFFFF;
    uint64_t linearMask = 0xFFFFFFFF;
    Tlb *dataTlb;  // of the present privilege, or `noTlb` when each access has to be looked at
    Tlb *fetchTlb; // of the present privilege

    uint32_t attention = 0;
    const Instruction *blockFirst = nullptr;
    const Instruction *blockEnd = nullptr; // null when the block ends after the present instruction
    uint64_t executed = 0;
    uint64_t timeOffset = 0;

    bool isFaulted = false;
    bool isNmiBlocked = false;
    bool isEventDelivered = false;
    bool isRepeating = false; // rip is at a string instruction that has begun
    ShadowKind shadow = ShadowKind::none;
    Fault fault;
    uint64_t debugTrap = 0; // bits for DR6 that are due

    BlockCache blocks;
    Block scratchBlock; // one instruction that cannot be kept
    Instruction scratch;
    Tlb tlb[2]; // privileges 0 to 2, privilege 3
    Tlb noTlb;  // stays empty
};

} // namespace sable
