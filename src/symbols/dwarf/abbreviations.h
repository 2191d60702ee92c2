#pragma once

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "symbols/arena.h"
#include "symbols/dwarf/byte_cursor.h"
#include "symbols/dwarf/tag_rules.h"

class ktLogBatch;

/// How the bytes of a form are passed.
enum class ktFormStep : uint8_t {
    fixed, ///< `size` bytes
    leb,
    block1,
    block2,
    block4,
    blockLeb,
    string,   ///< up to its zero
    text,     ///< an offset of `size` bytes into .debug_str
    lineText, ///< the same into .debug_line_str
    refused,  ///< cannot be passed: the unit ends here
};

/// What the forms of a unit depend on.
struct ktFormSizes {
    uint8_t address = 0;      ///< bytes
    uint8_t offset = 4;       ///< bytes of a field that is 4 or 8 bytes by the unit's format
    bool hasText = false;     ///< .debug_str is there
    bool hasLineText = false; ///< .debug_line_str is there
    bool isVersion5 = false;
};

/// One attribute of a declaration.
struct ktAttributeSpec {
    ktDieField field;
    ktFormStep step;
    uint8_t form;          ///< 0 for codes above those of the format's tables
    uint8_t size;          ///< of a fixed step
    uint16_t messageCount; ///< of the declaration's messages that belong to this attribute
};

/// Bytes to pass, with neighbours of fixed size joined.
struct ktSkipStep {
    ktFormStep step;
    uint32_t size;
};

/// One declaration: what an entry of its code looks like, and what is to be told about each such entry.
struct ktDieShape {
    uint64_t tag = 0;
    ktDieObject object = ktDieObject::none;
    uint8_t modifier = 0;
    bool hasChildren = false;
    bool isCut = false; ///< the section ends within the declaration
    bool hasLowPc = false;
    bool mayHaveRanges = false;     ///< a high pc or a range list
    bool needsEarlierLowPc = false; ///< a high pc with no low pc before it
    uint32_t firstSpec = 0;
    uint32_t specCount = 0;
    uint32_t firstSkip = 0;
    uint32_t skipCount = 0;
    uint32_t firstMessage = 0;
    uint32_t messageCount = 0;
};

/// The declarations of one unit, decoded once. What is told about an entry depends only on its declaration,
/// so the messages are worked out here as well.
class ktAbbreviations {
public:
    /// Empties it, keeps the memory, and reads the declarations at the cursor, up to code 0 or the end of the
    /// section. `messages` must outlive the batch that the messages go to.
    void Read(ktByteCursor &cursor, const ktFormSizes &sizes, ktArena &messages, ktLogBatch &log);

    /// Null for an unknown code. A code that is declared twice means its first declaration.
    const ktDieShape *Find(uint64_t code) const {
        if (code < dense.size()) return dense[code] != none ? &shapes[dense[code]] : nullptr;
        return code < denseLimit ? nullptr : FindSparse(code);
    }
    const ktDieShape &Shape(uint32_t index) const { return shapes[index]; }
    uint32_t IndexOf(const ktDieShape &shape) const { return static_cast<uint32_t>(&shape - shapes.data()); }
    std::span<const ktAttributeSpec> Specs(const ktDieShape &shape) const {
        return {specs.data() + shape.firstSpec, shape.specCount};
    }
    std::span<const ktSkipStep> Skips(const ktDieShape &shape) const {
        return {skips.data() + shape.firstSkip, shape.skipCount};
    }
    std::span<const char *const> Messages(const ktDieShape &shape) const {
        return {texts.data() + shape.firstMessage, shape.messageCount};
    }

private:
    static constexpr uint32_t none = ~uint32_t(0);
    static constexpr uint64_t denseLimit = 4096; // compilers count their codes from 1

    const ktDieShape *FindSparse(uint64_t code) const;
    void Enter(uint64_t code, uint32_t shape);
    void AddSpec(ktDieShape &shape, const ktTagRule &rule, uint64_t attribute, uint64_t form,
                 const ktFormSizes &sizes, ktArena &messages);
    void AddSkip(ktDieShape &shape, const ktAttributeSpec &spec);

    std::vector<ktDieShape> shapes;
    std::vector<ktAttributeSpec> specs;
    std::vector<ktSkipStep> skips;
    std::vector<const char *> texts;
    std::vector<uint32_t> dense; // shape by code
    std::unordered_map<uint64_t, uint32_t> sparse;
};
