#include "symbols/dwarf/unit_entries.h"

#include <algorithm>
#include <iterator>
#include <new>

#include "symbols/comp_unit.h"
#include "symbols/default_name.h"
#include "symbols/dwarf/dwarf_context.h"
#include "symbols/func_arg.h"
#include "symbols/function.h"
#include "symbols/named_object.h"
#include "symbols/symbol_factory.h"
#include "symbols/types.h"
#include "symbols/variable.h"

namespace {

ktEncoding EncodingOf(uint64_t number) {
    switch (number) {
    case ktDwAteBoolean:
        return ktEncodingBoolean;
    case ktDwAteComplexFloat:
    case ktDwAteFloat:
        return ktEncodingFloating;
    case ktDwAteSignedChar:
    case ktDwAteUnsignedChar:
        return ktEncodingCharacter;
    case ktDwAteUnsigned:
        return ktEncodingUnsigned;
    default:
        return ktEncodingSigned;
    }
}

/// Copies of texts up to here are as good as paid for by the bytes of their entry.
constexpr size_t usualTextSize = 256;

} // namespace

/// What the attributes of an entry say; numbers that are not given are 0.
struct ktUnitEntries::Facts {
    uint64_t numbers[static_cast<size_t>(ktDieField::count)] = {};
    std::string_view name;
    bool hasName = false;
    bool nameLasts = false;
    bool hasType = false;

    uint64_t operator[](ktDieField field) const { return numbers[static_cast<size_t>(field)]; }
    int64_t Signed(ktDieField field) const { return static_cast<int64_t>((*this)[field]); }
    void SetType(ktTypeRef &type) const {
        if (hasType) type.SetOffset((*this)[ktDieField::type]);
    }
};

ktUnitEntries::ktUnitEntries(ktDwarfContext &dwarfContext, const ktDwarfUnit &dwarfUnit,
                             ktUnitScratch &scratch, ktLogBatch &logBatch)
    : abbreviations(scratch.abbreviations), tree(scratch.tree), log(logBatch), context(dwarfContext),
      unit(dwarfUnit) {
    tree.Begin(static_cast<uint32_t>(unit.firstEntry));
    entries.sizes = {unit.addressSize, static_cast<uint8_t>(unit.is32 ? 4 : 8),
                     context[ktDwarfSection::str].isPresent, context[ktDwarfSection::lineStr].isPresent,
                     unit.version == 5};
    entries.unitStart = unit.start;
    entries.bias = context.bias;
    entries.texts = context.texts;
    entries.lineTexts = context.lineTexts;
}

void ktUnitEntries::ReserveIds() {
    const uint32_t count = objectCount - numberedCount;
    if (count == 0) return;
    idRuns.push_back(
        {numberedCount, context.factory->nextId.fetch_add(count, std::memory_order_relaxed) + 1});
    numberedCount = objectCount;
}

uint64_t ktUnitEntries::IdOf(uint32_t node) const {
    const uint32_t ordinal = tree[node].ordinal;
    const auto behind =
        std::upper_bound(idRuns.begin(), idRuns.end(), ordinal,
                         [](uint32_t number, const IdRun &run) { return number < run.firstOrdinal; });
    const IdRun &run = *std::prev(behind);
    return run.firstId + (ordinal - run.firstOrdinal);
}

bool ktUnitEntries::PayForWalk(uint64_t stepCount) { return context.attributeWork.Take(stepCount); }

void ktUnitEntries::PayForText(uint64_t size) {
    if (!context.textWork.Take(size)) throw std::bad_alloc();
}

ktObject *ktUnitEntries::ObjectOf(uint32_t node) {
    ktObject *&object = tree[node].object;
    if (!object) object = Make(node);
    return object;
}

ktObject *ktUnitEntries::Make(uint32_t node) {
    using Field = ktDieField;
    switch (ShapeOf(node).object) {
    case ktDieObject::none:
    case ktDieObject::unit:
        return nullptr;
    case ktDieObject::function:
    case ktDieObject::inlinedFunction:
        return MakeFunction(node);
    case ktDieObject::argument: {
        const Facts facts = ReadFacts(node);
        auto *argument = New<ktFuncArg>(node, facts);
        facts.SetType(argument->type);
        return argument;
    }
    case ktDieObject::variable: {
        const Facts facts = ReadFacts(node);
        auto *variable = New<ktVariable>(node, facts);
        facts.SetType(variable->type);
        return variable;
    }
    case ktDieObject::member: {
        const Facts facts = ReadFacts(node);
        auto *member = New<ktTypeMember>(node, facts);
        facts.SetType(member->type);
        member->offset = facts[Field::offset];
        const ktMemberBits bits{facts[Field::size], facts[Field::bitOffset], facts[Field::bitSize]};
        if ((bits.byteSize | bits.bitOffset | bits.bitSize) != 0)
            member->bits = compUnit->Arena().Make<ktMemberBits>(bits);
        return member;
    }
    case ktDieObject::enumerator: {
        const Facts facts = ReadFacts(node);
        auto *enumerator = New<ktEnumMember>(node, facts);
        enumerator->value = facts.Signed(Field::value);
        return enumerator;
    }
    default:
        return MakeType(node);
    }
}

ktObject *ktUnitEntries::MakeType(uint32_t node) {
    using Field = ktDieField;
    const Facts facts = ReadFacts(node);
    switch (ShapeOf(node).object) {
    case ktDieObject::arrayType: {
        auto *type = New<ktArrayType>(node, facts);
        facts.SetType(type->elementType);
        type->size = facts[Field::size];
        return type;
    }
    case ktDieObject::enumType: {
        auto *type = New<ktEnumType>(node, facts);
        facts.SetType(type->underlying);
        type->encoding = EncodingOf(facts[Field::encoding]);
        type->size = facts[Field::size];
        type->byteStride = facts[Field::byteStride];
        type->bitSize = facts[Field::bitSize];
        type->bitStride = facts[Field::bitStride];
        return type;
    }
    case ktDieObject::modifiedType: {
        auto *type = New<ktModifiedType>(node, facts);
        facts.SetType(type->target);
        type->flags = ShapeOf(node).modifier;
        return type;
    }
    case ktDieObject::aliasType: {
        auto *type = New<ktAliasType>(node, facts);
        facts.SetType(type->target);
        return type;
    }
    case ktDieObject::complexType: {
        auto *type = New<ktComplexType>(node, facts);
        type->size = facts[Field::size];
        type->bitSize = facts[Field::bitSize];
        return type;
    }
    case ktDieObject::functionType: {
        auto *type = New<ktFuncType>(node, facts);
        facts.SetType(type->returnType);
        return type;
    }
    case ktDieObject::rangeType: {
        auto *type = New<ktRangeType>(node, facts);
        facts.SetType(type->indexType);
        type->lower = facts.Signed(Field::lower);
        type->upper = facts.Signed(Field::upper);
        return type;
    }
    default: {
        auto *type = New<ktBasicType>(node, facts);
        type->encoding = EncodingOf(facts[Field::encoding]);
        type->size = facts[Field::size];
        type->bitOffset = facts[Field::bitOffset];
        type->bitSize = facts[Field::bitSize];
        return type;
    }
    }
}

/// The numbers of a function depend on their order: a high pc goes with the low pc before it.
ktObject *ktUnitEntries::MakeFunction(uint32_t node) {
    const ktDieShape &shape = ShapeOf(node);
    const uint64_t id = IdOf(node);
    ktFunction *function = shape.object == ktDieObject::inlinedFunction
                               ? compUnit->MakeInArena<ktInlinedFunction>(id)
                               : compUnit->MakeInArena<ktFunction>(id);
    uint64_t lowPc = 0;
    if (shape.needsEarlierLowPc) {
        const auto earlier =
            std::lower_bound(earlierLowPcs.begin(), earlierLowPcs.end(), std::pair{node, 0u});
        if (earlier != earlierLowPcs.end() && earlier->first == node) lowPc = LowPcOf(earlier->second);
    }
    bool endsWithUnit = false;
    const auto addRange = [this, function, &endsWithUnit](uint64_t start, uint64_t size) {
        if (!endsWithUnit && !function->ranges.HasRoomFor(start, size)) {
            compUnit->EndWithUnit(function->ranges); // first: what comes then may end the unit
            endsWithUnit = true;
        }
        function->ranges.Add(start, size);
    };
    ktAddressPairs pairs;
    ktByteCursor cursor = CursorAt(node);
    WalkAttributes(cursor, shape, false, [&](const ktAttributeSpec &spec, const ktDieValue &value) {
        switch (spec.field) {
        case ktDieField::name:
            StoreText(*compUnit, function->name, value.text, value.textLasts);
            break;
        case ktDieField::lowPc:
            lowPc = value.number;
            break;
        case ktDieField::highPc: // a size, whatever its form
            addRange(lowPc, value.number);
            function->entry = lowPc;
            break;
        case ktDieField::ranges:
            if (!ReadRanges(value.number, pairs)) break;
            for (const auto &[start, end] : pairs) {
                if (end != start) addRange(start, end - start);
            }
            break;
        case ktDieField::type:
            function->returnType.SetOffset(value.number);
            break;
        case ktDieField::origin:
            static_cast<ktInlinedFunction *>(function)->origin.SetOffset(value.number);
            break;
        default:
            break;
        }
    });
    if (!function->name.Get()) function->name.Lend(DefaultName(ktDefaultPrefix<ktFunction>, id));

    return function;
}

/// A new object with its name: the entry's own, or one made of its number.
template <class T>
T *ktUnitEntries::New(uint32_t node, const Facts &facts) {
    const uint64_t id = IdOf(node);
    T *object = compUnit->MakeInArena<T>(id);
    if (!facts.hasName) {
        LendNameTo(*object, DefaultName(ktDefaultPrefix<T>, id));
    } else {
        LendNameTo(*object, LastingText(*compUnit, facts.name, facts.nameLasts));
    }
    return object;
}

const char *ktUnitEntries::DefaultName(const char *prefix, uint64_t id) {
    return compUnit->Arena().CopyText(ktDefaultName(prefix, id).text);
}

ktUnitEntries::Facts ktUnitEntries::ReadFacts(uint32_t node) {
    Facts facts;
    ktByteCursor cursor = CursorAt(node);
    WalkAttributes(cursor, ShapeOf(node), false,
                   [&facts](const ktAttributeSpec &spec, const ktDieValue &value) {
                       if (spec.field == ktDieField::name) {
                           facts.name = value.text;
                           facts.hasName = true;
                           facts.nameLasts = value.textLasts;
                       } else {
                           facts.numbers[static_cast<size_t>(spec.field)] = value.number;
                           if (spec.field == ktDieField::type) facts.hasType = true;
                       }
                   });
    return facts;
}

/// Behind the entry's code.
ktByteCursor ktUnitEntries::CursorAt(uint32_t node) const {
    ktByteCursor cursor(context.Bytes(ktDwarfSection::info));
    cursor.Seek(tree[node].offset);
    cursor.SkipLeb();
    return cursor;
}

uint64_t ktUnitEntries::LowPcOf(uint32_t node) {
    uint64_t lowPc = 0;
    ktByteCursor cursor = CursorAt(node);
    WalkAttributes(cursor, ShapeOf(node), false,
                   [&lowPc](const ktAttributeSpec &spec, const ktDieValue &value) {
                       if (spec.field == ktDieField::lowPc) lowPc = value.number;
                   });
    return lowPc;
}

bool ktUnitEntries::ReadRanges(uint64_t offset, ktAddressPairs &pairs) {
    const bool found = unit.version == 5 ? ReadRngList(context.Bytes(ktDwarfSection::rnglists),
                                                       context.Bytes(ktDwarfSection::addr), offset,
                                                       unit.addressSize, context.rangeWork, pairs)
                                         : ReadRangeList(context.Bytes(ktDwarfSection::ranges), offset,
                                                         unit.addressSize, context.rangeWork, pairs);
    for (auto &[start, end] : pairs) {
        start += context.bias;
        end += context.bias;
    }
    return found;
}

void ktUnitEntries::StoreText(ktCompUnit &owner, ktOwnedText &out, std::string_view text, bool lasts) {
    out.Lend(LastingText(owner, text, lasts));
}

const char *ktUnitEntries::LastingText(ktCompUnit &owner, std::string_view text, bool lasts) {
    if (lasts) return text.data();
    if (text.size() > usualTextSize) PayForText(text.size());
    return owner.Arena().CopyText(text);
}
