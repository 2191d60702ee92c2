#include "symbols/dwarf/abbreviations.h"

#include <array>
#include <cstdio>

#include "app/log_batch.h"
#include "symbols/dwarf/dwarf_format.h"

namespace {

struct FormRule {
    ktFormStep step;
    uint8_t size;
};

constexpr FormRule nothing{ktFormStep::fixed, 0};

/// How a form of the format's tables is passed. Those that this reader does not know pass nothing.
FormRule RuleOfForm(uint64_t form, const ktFormSizes &sizes) {
    const FormRule offset{ktFormStep::fixed, sizes.offset};
    switch (form) {
    case ktDwFormAddr:
        // No number is longer than this; nothing behind such an address could be read right.
        return sizes.address > sizeof(uint64_t) ? FormRule{ktFormStep::refused, 0}
                                                : FormRule{ktFormStep::fixed, sizes.address};
    case ktDwFormData1:
    case ktDwFormFlag:
    case ktDwFormRef1:
        return {ktFormStep::fixed, 1};
    case ktDwFormData2:
    case ktDwFormRef2:
        return {ktFormStep::fixed, 2};
    case ktDwFormData4:
    case ktDwFormRef4:
        return {ktFormStep::fixed, 4};
    case ktDwFormData8:
    case ktDwFormRef8:
        return {ktFormStep::fixed, 8};
    case ktDwFormRefAddr:
    case ktDwFormSecOffset:
        return offset;
    case ktDwFormSdata:
    case ktDwFormUdata:
    case ktDwFormRefUdata:
        return {ktFormStep::leb, 0};
    case ktDwFormBlock1:
        return {ktFormStep::block1, 0};
    case ktDwFormBlock2:
        return {ktFormStep::block2, 0};
    case ktDwFormBlock4:
        return {ktFormStep::block4, 0};
    case ktDwFormBlock:
    case ktDwFormExprloc:
        return {ktFormStep::blockLeb, 0};
    case ktDwFormString:
        return {ktFormStep::string, 0};
    case ktDwFormStrp:
        return sizes.hasText ? FormRule{ktFormStep::text, sizes.offset} : nothing;
    case ktDwFormLineStrp:
        return sizes.hasLineText ? FormRule{ktFormStep::lineText, sizes.offset} : nothing;
    default:
        return nothing;
    }
}

bool IsKnownForm(uint64_t form) {
    switch (form) {
    case 0x02:
    case 0x1A:
    case 0x1B:
    case 0x1C:
    case 0x1D:
    case 0x1E:
        return false;
    default:
        return form >= ktDwFormAddr && form <= ktDwFormImplicitConst;
    }
}

bool MayBeSectionOffset(uint64_t attribute) {
    switch (attribute) {
    case ktDwAtLocation:
    case ktDwAtStmtList:
    case ktDwAtMacroInfo:
    case ktDwAtRanges:
    case ktDwAtGnuMacros:
    case ktDwAtGnuLocviews:
        return true;
    default:
        return false;
    }
}

template <size_t size>
const char *Print(ktArena &arena, const char (&format)[size], uint64_t number) {
    char text[64];
    std::snprintf(text, sizeof text, format, static_cast<unsigned long long>(number));
    return arena.CopyText(text);
}

/// By far the most frequent message, and its numbers are few: printed once for the process.
const char *RefusalOf(uint64_t attribute) {
    constexpr size_t count = 0x80; // above all refused attributes
    using Texts = std::array<std::array<char, 32>, count>;
    static const Texts texts = [] {
        Texts printed;
        for (size_t number = 0; number < count; ++number) {
            std::snprintf(printed[number].data(), printed[number].size(), "Unsupported attribute %llX",
                          static_cast<unsigned long long>(number));
        }
        return printed;
    }();
    return texts[attribute % count].data();
}

} // namespace

void ktAbbreviations::Read(ktByteCursor &cursor, const ktFormSizes &sizes, ktArena &messages,
                           ktLogBatch &log) {
    shapes.clear();
    specs.clear();
    skips.clear();
    texts.clear();
    dense.clear();
    sparse.clear();
    for (;;) {
        const uint64_t code = cursor.Uleb();
        if (code == 0) return; // also where nothing could be read
        ktDieShape shape;
        shape.tag = cursor.Uleb();
        shape.hasChildren = cursor.U8() != 0;

        const ktTagRule &rule = RuleOfTag(shape.tag);
        shape.object = rule.object;
        shape.modifier = rule.modifier;
        shape.firstSpec = static_cast<uint32_t>(specs.size());
        shape.firstSkip = static_cast<uint32_t>(skips.size());
        shape.firstMessage = static_cast<uint32_t>(texts.size());
        for (;;) {
            const uint64_t attribute = cursor.Uleb();
            const uint64_t form = cursor.Uleb();
            if (cursor.Failed() || (attribute == 0 && form == 0)) break;
            if (form == ktDwFormIndirect) log.Add("Indirect form is not implemented");
            if (form == ktDwFormImplicitConst) cursor.SkipLeb();
            AddSpec(shape, rule, attribute, form, sizes, messages);
        }
        shape.isCut = cursor.Failed();
        shape.specCount = static_cast<uint32_t>(specs.size()) - shape.firstSpec;
        shape.skipCount = static_cast<uint32_t>(skips.size()) - shape.firstSkip;
        shape.messageCount = static_cast<uint32_t>(texts.size()) - shape.firstMessage;
        shapes.push_back(shape);
        Enter(code, static_cast<uint32_t>(shapes.size() - 1));
        if (cursor.Failed()) return;
    }
}

void ktAbbreviations::AddSpec(ktDieShape &shape, const ktTagRule &rule, uint64_t attribute, uint64_t form,
                              const ktFormSizes &sizes, ktArena &messages) {
    const size_t messagesBefore = texts.size();
    const FormRule formRule = RuleOfForm(form, sizes);
    ktAttributeSpec spec{rule.FieldOf(attribute), formRule.step,
                         static_cast<uint8_t>(IsKnownForm(form) ? form : 0), formRule.size, 0};
    if (form == ktDwFormIndirect) {
        texts.push_back("Unexpected form DW_FORM_indirect");
    } else if (form == ktDwFormRefSig8) {
        texts.push_back("Unexpected form DW_FORM_ref_sig8");
    } else if (form == ktDwFormSecOffset && !MayBeSectionOffset(attribute)) {
        texts.push_back(Print(messages, "Unexpected attribute %llX", attribute));
        spec.step = ktFormStep::refused;
    } else if (!IsKnownForm(form)) {
        texts.push_back(Print(messages, "Unexpected form %llX", form));
    }
    if (spec.step != ktFormStep::refused) {
        if (attribute == ktDwAtRanges && form == ktDwFormRnglistx && sizes.isVersion5) {
            texts.push_back("Rng lists are not implemented");
        }
        if (rule.Refuses(attribute)) texts.push_back(RefusalOf(attribute));
    }
    spec.messageCount = static_cast<uint16_t>(texts.size() - messagesBefore);
    if (spec.field == ktDieField::lowPc) shape.hasLowPc = true;
    if (spec.field == ktDieField::highPc) {
        shape.mayHaveRanges = true;
        if (!shape.hasLowPc) shape.needsEarlierLowPc = true;
    }
    if (spec.field == ktDieField::ranges) shape.mayHaveRanges = true;
    AddSkip(shape, spec);
    specs.push_back(spec);
}

void ktAbbreviations::AddSkip(ktDieShape &shape, const ktAttributeSpec &spec) {
    const bool joins = spec.step == ktFormStep::fixed && skips.size() > shape.firstSkip &&
                       skips.back().step == ktFormStep::fixed;
    if (joins) {
        skips.back().size += spec.size;
    } else if (spec.step != ktFormStep::fixed || spec.size != 0) {
        skips.push_back({spec.step, spec.size});
    }
}

void ktAbbreviations::Enter(uint64_t code, uint32_t shape) {
    if (code >= denseLimit) {
        sparse.emplace(code, shape);
        return;
    }
    if (code >= dense.size()) dense.resize(code + 1, none);
    if (dense[code] == none) dense[code] = shape;
}

const ktDieShape *ktAbbreviations::FindSparse(uint64_t code) const {
    const auto found = sparse.find(code);
    return found == sparse.end() ? nullptr : &shapes[found->second];
}
