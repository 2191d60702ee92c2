#pragma once

#include "disasm/disasm.h"

#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

/// A disassembler that decodes as `decode` says, and writes down what it was asked.
class ktFakeDisasm final : public ktDisasm {
public:
    struct Call {
        uint64_t address;
        int32_t mode;
        std::vector<uint8_t> code;
        uint32_t textSize;
    };

    /// For ktSessionFactories::createDisasm.
    static std::unique_ptr<ktDisasm> Create() {
        ++created;
        return std::make_unique<ktFakeDisasm>();
    }
    ~ktFakeDisasm() override { ++destroyed; }

    uint64_t SetAddress(uint64_t newAddress) override { return std::exchange(address, newAddress); }
    void SetSpace(ktSpace *) override {}
    bool SetSyntax(uint32_t newSyntax) override {
        syntax = newSyntax;
        return true;
    }
    uint32_t GetSyntax() override { return syntax; }
    uint32_t GetArchitecture() override { return 0; }
    uint32_t GetMode() override { return static_cast<uint32_t>(mode); }
    bool SetMode(int32_t newMode) override {
        mode = newMode;
        return true;
    }
    uint64_t Disassemble(const uint8_t *code, uint64_t size, char *text, uint32_t textSize) override {
        calls.push_back({address, mode, std::vector<uint8_t>(code, code + size), textSize});
        std::string decoded;
        const uint64_t length = decode ? decode(calls.back(), decoded) : 0;
        if (text && length) std::snprintf(text, textSize, "%s", decoded.c_str());
        return length;
    }
    bool IsConditionalJump(const uint8_t *, uint64_t) override { return false; }
    bool IsJump(const uint8_t *, uint64_t) override { return false; }
    bool IsCall(const uint8_t *, uint64_t) override { return false; }
    uint32_t GetIndirectRegister(const uint8_t *) override { return 0; }

    /// The instruction's length and text; 0 for bytes that do not decode.
    std::function<uint64_t(const Call &, std::string &)> decode;
    std::vector<Call> calls;
    uint64_t address = 0;
    int32_t mode = 0;
    uint32_t syntax = ktSyntaxIntel;

    static inline int created = 0;
    static inline int destroyed = 0;
};
