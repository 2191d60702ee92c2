// The `u` command against bare XED (decode and format) on the same instructions: the code of the system's C
// library, loaded at its own addresses. Items are instructions, so the rates compare directly.

#include <benchmark/benchmark.h>

extern "C" {
#include <xed/xed-interface.h>
}

#include <elf.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "app/log_lines.h"
#include "disasm/u_cmd.h"
#include "disasm/xed_disasm.h"
#include "support/command_session.h"

namespace {

constexpr char libraryPath[] = "/lib/x86_64-linux-gnu/libc.so.6";
constexpr uint64_t instructionCount = 200000;

struct Code {
    uint64_t address = 0;
    std::vector<uint8_t> bytes;
    std::vector<uint64_t> functions; ///< entries of the exported ones, sorted
};

Code ReadCode() {
    Code code;
    std::ifstream file(libraryPath, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const auto read = [&bytes](auto &record, uint64_t offset) {
        const bool inside = offset <= bytes.size() && bytes.size() - offset >= sizeof record;
        if (inside) std::memcpy(&record, bytes.data() + offset, sizeof record);
        return inside;
    };
    Elf64_Ehdr header = {};
    if (!read(header, 0)) return code;
    for (uint64_t i = 0; i < header.e_shnum; ++i) {
        Elf64_Shdr section = {};
        if (!read(section, header.e_shoff + i * sizeof section)) break;
        if (section.sh_type == SHT_PROGBITS && (section.sh_flags & SHF_EXECINSTR) &&
            section.sh_size > code.bytes.size() && section.sh_offset + section.sh_size <= bytes.size()) {
            code.address = section.sh_addr;
            const auto start = bytes.begin() + static_cast<ptrdiff_t>(section.sh_offset);
            code.bytes.assign(start, start + static_cast<ptrdiff_t>(section.sh_size));
        }
        if (section.sh_type != SHT_DYNSYM) continue;
        for (uint64_t at = 0; at < section.sh_size; at += sizeof(Elf64_Sym)) {
            Elf64_Sym symbol = {};
            if (!read(symbol, section.sh_offset + at)) break;
            if (ELF64_ST_TYPE(symbol.st_info) == STT_FUNC && symbol.st_value)
                code.functions.push_back(symbol.st_value);
        }
    }
    std::sort(code.functions.begin(), code.functions.end());
    code.functions.erase(std::unique(code.functions.begin(), code.functions.end()), code.functions.end());
    return code;
}

void FormatBare(benchmark::State &state) {
    const Code code = ReadCode();
    if (code.bytes.empty()) return state.SkipWithError("no library to read");
    xed_tables_init();
    for (auto unused : state) {
        static_cast<void>(unused);
        uint64_t at = 0;
        for (uint64_t i = 0; i < instructionCount; ++i) {
            xed_decoded_inst_t instruction;
            xed_state_t machine;
            xed_state_init2(&machine, XED_MACHINE_MODE_LONG_64, XED_ADDRESS_WIDTH_64b);
            xed_decoded_inst_zero_set_mode(&instruction, &machine);
            const auto left = static_cast<unsigned>(std::min<uint64_t>(15, code.bytes.size() - at));
            if (xed_decode(&instruction, code.bytes.data() + at, left) != XED_ERROR_NONE) {
                ++at;
                continue;
            }
            char text[256];
            xed_format_context(XED_SYNTAX_INTEL, &instruction, text, sizeof text, code.address + at, nullptr,
                               nullptr);
            benchmark::DoNotOptimize(text);
            at += xed_decoded_inst_get_length(&instruction);
        }
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * instructionCount));
}
BENCHMARK(FormatBare)->Unit(benchmark::kMillisecond);

/// Takes lines and forgets them, so that the listing itself is measured.
class NoLines final : public ktRecordingLines {
public:
    bool AddLine(const char *text) override {
        benchmark::DoNotOptimize(text);
        return true;
    }
};

/// Every exported function of the library, up to the next one, in units of a hundred.
void AddSymbols(ktCommandSession &target, const Code &code) {
    ktModule *module = target.builder.AddModule("libc", 0, code.address + code.bytes.size());
    ktCompUnit *unit = nullptr;
    for (size_t i = 0; i + 1 < code.functions.size(); ++i) {
        if (i % 100 == 0) unit = target.builder.AddUnit(module, ("unit_" + std::to_string(i)).c_str());
        const uint64_t start = code.functions[i];
        target.builder.AddFunction(unit, ("function_" + std::to_string(i)).c_str(),
                                   {{start, code.functions[i + 1] - start}});
    }
    target.builder.Publish(*target.space, module);
}

void Unassemble(benchmark::State &state, bool withSymbols, ktLines &output) {
    const Code code = ReadCode();
    if (code.bytes.empty()) return state.SkipWithError("no library to read");
    ktCommandSession target;
    target.session.disasm = std::make_unique<ktXedDisasm>();
    target.Write(code.address, code.bytes);
    if (withSymbols) AddSymbols(target, code);
    ktUCmd command;
    ktCmdContext context;
    context.session = &target.session;
    context.output = &output;
    command.SetCmdContext(context);
    char start[] = "start";
    ktCmdArg args[] = {{ktArgAddressOrLocation, start, code.address, nullptr},
                       {ktArgDecimal, nullptr, instructionCount, nullptr}};
    for (auto unused : state) {
        static_cast<void>(unused);
        if (command.Execute(args, 2) != ktCmdOk) return state.SkipWithError("the listing failed");
        output.Clear();
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * instructionCount));
}

void UnassembleWithoutSymbols(benchmark::State &state) {
    NoLines output;
    Unassemble(state, false, output);
}
BENCHMARK(UnassembleWithoutSymbols)->Unit(benchmark::kMillisecond);

void UnassembleWithSymbols(benchmark::State &state) {
    NoLines output;
    Unassemble(state, true, output);
}
BENCHMARK(UnassembleWithSymbols)->Unit(benchmark::kMillisecond);

void UnassembleIntoTheStore(benchmark::State &state) {
    ktLogLines output;
    if (!output.Reserve()) return state.SkipWithError("no memory for the store");
    Unassemble(state, true, output);
}
BENCHMARK(UnassembleIntoTheStore)->Unit(benchmark::kMillisecond);

} // namespace
