#include "support/native_code.h"

#include <cstring>

#if defined(__x86_64__) && defined(__linux__)

#include <sys/mman.h>

// The registers to load and what they became; at its end where to come back to.
extern "C" {
extern uint64_t sableNativeState[20];
extern const char sableNativeReturn[];
void sableRunNative();
}

namespace {

constexpr unsigned flagsSlot = 16, targetSlot = 18;

} // namespace

// Offsets into sableNativeState: registers 0 to 120, flags 128, own rsp 136, target 144. MOV and JMP leave
// the flags alone.
asm(R"(
    .text
    .intel_syntax noprefix
    .globl sableRunNative
    .hidden sableRunNative
    .type sableRunNative, @function
sableRunNative:
    push rbx
    push rbp
    push r12
    push r13
    push r14
    push r15
    pushfq
    mov [rip + sableNativeState + 136], rsp
    push qword ptr [rip + sableNativeState + 128]
    popfq
    mov rax, [rip + sableNativeState]
    mov rcx, [rip + sableNativeState + 8]
    mov rdx, [rip + sableNativeState + 16]
    mov rbx, [rip + sableNativeState + 24]
    mov rsp, [rip + sableNativeState + 32]
    mov rbp, [rip + sableNativeState + 40]
    mov rsi, [rip + sableNativeState + 48]
    mov rdi, [rip + sableNativeState + 56]
    mov r8, [rip + sableNativeState + 64]
    mov r9, [rip + sableNativeState + 72]
    mov r10, [rip + sableNativeState + 80]
    mov r11, [rip + sableNativeState + 88]
    mov r12, [rip + sableNativeState + 96]
    mov r13, [rip + sableNativeState + 104]
    mov r14, [rip + sableNativeState + 112]
    mov r15, [rip + sableNativeState + 120]
    jmp qword ptr [rip + sableNativeState + 144]
    .globl sableNativeReturn
    .hidden sableNativeReturn
sableNativeReturn:
    mov [rip + sableNativeState], rax
    mov [rip + sableNativeState + 8], rcx
    mov [rip + sableNativeState + 16], rdx
    mov [rip + sableNativeState + 24], rbx
    mov [rip + sableNativeState + 32], rsp
    mov [rip + sableNativeState + 40], rbp
    mov [rip + sableNativeState + 48], rsi
    mov [rip + sableNativeState + 56], rdi
    mov [rip + sableNativeState + 64], r8
    mov [rip + sableNativeState + 72], r9
    mov [rip + sableNativeState + 80], r10
    mov [rip + sableNativeState + 88], r11
    mov [rip + sableNativeState + 96], r12
    mov [rip + sableNativeState + 104], r13
    mov [rip + sableNativeState + 112], r14
    mov [rip + sableNativeState + 120], r15
    mov rsp, [rip + sableNativeState + 136]
    pushfq
    pop qword ptr [rip + sableNativeState + 128]
    popfq
    pop r15
    pop r14
    pop r13
    pop r12
    pop rbp
    pop rbx
    ret
    .size sableRunNative, . - sableRunNative
    .att_syntax
    .local sableNativeState
    .comm sableNativeState, 160, 16
)");

namespace {

uint8_t *MapAt(uint64_t address, size_t size, int rights) {
    void *place = mmap(reinterpret_cast<void *>(address), size, rights,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0);
    return place == MAP_FAILED ? nullptr : static_cast<uint8_t *>(place);
}

} // namespace

NativeCode::NativeCode() {
    data = MapAt(dataAddress, dataSize, PROT_READ | PROT_WRITE);
    if (data != nullptr) code = MapAt(codeAddress, 4096, PROT_READ | PROT_WRITE | PROT_EXEC);
}

NativeCode::~NativeCode() {
    if (code != nullptr) munmap(code, 4096);
    if (data != nullptr) munmap(data, dataSize);
}

void NativeCode::Run(const uint8_t *bytes, size_t size, State &state) {
    // Behind the bytes: jmp [rip], and where to.
    constexpr uint8_t jump[] = {0xFF, 0x25, 0, 0, 0, 0};
    const char *comeBack = sableNativeReturn;
    std::memcpy(code, bytes, size);
    std::memcpy(code + size, jump, sizeof jump);
    std::memcpy(code + size + sizeof jump, &comeBack, sizeof comeBack);
    std::memcpy(sableNativeState, state.gpr, sizeof state.gpr);
    sableNativeState[flagsSlot] = (state.flags & 0xCD5) | 0x202;
    sableNativeState[targetSlot] = codeAddress;
    sableRunNative();
    std::memcpy(state.gpr, sableNativeState, sizeof state.gpr);
    state.flags = sableNativeState[flagsSlot];
}

#else

NativeCode::NativeCode() {}
NativeCode::~NativeCode() {}
void NativeCode::Run(const uint8_t *, size_t, State &) {}

#endif
