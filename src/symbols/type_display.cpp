#include "symbols/type_display.h"

#include <algorithm>
#include <charconv>
#include <cinttypes>
#include <iterator>
#include <string_view>
#include <vector>

#include "app/cut_text.h"
#include "app/lines.h"
#include "session/data_reader.h"
#include "symbols/func_arg.h"
#include "symbols/types.h"

namespace {

constexpr size_t lineSize = 512;
constexpr uint64_t maxValueSize = 0x10000;

struct ModifierWord {
    uint64_t flag;
    std::string_view word;
};

/// In the order in which they override each other: the last one that is set counts.
constexpr ModifierWord modifierWords[] = {
    {ktModifierConst, "const"},       {ktModifierPointer, "pointer to"},
    {ktModifierVolatile, "volatile"}, {ktModifierReference, "reference to"},
    {ktModifierRestrict, "restrict"},
};

/// The word of `type`; without any flag the one of the step before.
std::string_view WordOf(const ktModifiedType &type, std::string_view previous) {
    std::string_view word = previous;
    for (const ModifierWord &row : modifierWords) {
        if (!(type.flags & row.flag)) continue;
        word = row.word;
        if (row.flag == ktModifierPointer && !TypeOf(type.target)) word = "pointer to void";
    }
    return word;
}

/// `value` less `distance`, around the ends of the range if need be.
int64_t Less(int64_t value, int64_t distance) {
    return static_cast<int64_t>(static_cast<uint64_t>(value) - static_cast<uint64_t>(distance));
}

void DescribeArray(const ktArrayType &type, ktCutText &text) {
    text.Put("array");
    if (!type.ranges.empty()) {
        const ktRangeType &first = *type.ranges[0];
        text.Print("[%" PRId64 "]", Less(first.upper, first.lower));
    }
    text.Put(" of");
}

/// Printable in any case: a name may be missing.
const char *Printable(const char *name) { return name ? name : "(null)"; }

/// The name of what `reference` holds; empty for none and while unresolved.
const char *NameIn(const ktTypeRef &reference) {
    const ktType *type = TypeOf(reference);
    return type ? Printable(type->GetName()) : "";
}

/// Appends the name of what `reference` holds and, where that says little, its description.
void PutType(ktCutText &line, const ktTypeRef &reference) {
    line.Put(NameIn(reference));
    const ktType *type = TypeOf(reference);
    if (!type) return;
    const ktType::TypeKind kind = type->GetTypeKind();
    if (kind != ktType::typeModified && kind != ktType::typeArray) return;
    line.Put(" (");
    DescribeType(*type, line);
    line.Put(")");
}

/// Makes the lines of one type and hands each on at once.
class TypeLines {
public:
    explicit TypeLines(ktLines &lines) : line(buffer), output(lines) {}

    void Show(const ktBasicType &type) {
        line.Print("Basic type %s, size 0x%016" PRIX64, Printable(type.GetName()), type.GetSize());
        EndLine();
    }
    /// The value at the reader's position.
    void ShowValue(uint64_t size, DataReader &reader) {
        if (size > maxValueSize) return;
        std::vector<uint64_t> area(std::max<size_t>(1, (static_cast<size_t>(size) + 7) / 8));
        if (size > 0 && !reader.ReadExact(area.data(), static_cast<uint32_t>(size))) return;
        char digits[16];
        const auto end = std::to_chars(std::begin(digits), std::end(digits), area[0], 16).ptr;
        const auto count = static_cast<size_t>(end - digits);
        line.Fill('0', size * 2 > count ? size * 2 - count : 0);
        line.Put({digits, count});
        EndLine();
    }
    void Show(const ktComplexType &type) {
        line.Print("Complex type %s, size 0x%016" PRIX64, Printable(type.GetName()), type.GetSize());
        EndLine();
        for (const ktTypeMember *member : type.members) {
            line.Print("+0x%08" PRIX64 ": %s : ", member->offset, Printable(member->name.Get()));
            PutType(line, member->type);
            EndLine();
        }
    }
    void Show(const ktModifiedType &type) {
        line.Put("Modified type, ");
        DescribeType(type, line);
        EndLine();
    }
    void Show(const ktAliasType &type) {
        line.Print("Alias type %s for type %s", Printable(type.GetName()), NameIn(type.target));
        EndLine();
    }
    void Show(const ktEnumType &type) {
        line.Print("Enum type %s, size 0x%016" PRIX64 ", type %s", Printable(type.GetName()), type.GetSize(),
                   NameIn(type.underlying));
        EndLine();
        for (const ktEnumMember *member : type.members) {
            line.Print("%s : %" PRId64, Printable(member->name.Get()), member->value);
            EndLine();
        }
    }
    void Show(const ktFuncType &type) {
        line.Print("Function type %s, type ", Printable(type.GetName()));
        if (TypeOf(type.returnType)) {
            PutType(line, type.returnType);
        } else {
            line.Put("void");
        }
        EndLine();
        for (const ktFuncArg *arg : type.args) {
            line.Print("%s : ", Printable(arg->name.Get()));
            PutType(line, arg->type);
            EndLine();
        }
    }
    void Show(const ktArrayType &type) {
        line.Print("Array type %s, size 0x%016" PRIX64 ", type ", Printable(type.GetName()), type.GetSize());
        PutType(line, type.elementType);
        EndLine();
        for (const ktRangeType *range : type.ranges) {
            line.Print("Range [%" PRId64, range->lower);
            if (range->lower != range->upper) line.Print(",%" PRId64, Less(range->upper, 1));
            line.Print("] : %s", NameIn(range->indexType));
            EndLine();
        }
    }
    void Show(const ktRangeType &type) {
        line.Print("Range type %s, size 0x%016" PRIX64 ", index type %s", Printable(type.GetName()),
                   type.GetSize(), NameIn(type.indexType));
        EndLine();
    }

private:
    void EndLine() {
        output.AddLine(line.Get());
        line.Clear();
    }

    char buffer[lineSize] = {};
    ktCutText line;
    ktLines &output;
};

} // namespace

void DescribeType(const ktType &type, ktCutText &text) {
    std::string_view word;
    bool isFirst = true;
    // Every step but the first uses up a blank at least, so that any chain ends.
    for (const ktType *step = &type; step && step->GetTypeKind() <= ktType::typeArray && !text.IsFull();) {
        if (!isFirst) text.Put(" ");
        isFirst = false;
        if (step->GetTypeKind() == ktType::typeModified) {
            const auto &modified = static_cast<const ktModifiedType &>(*step);
            word = WordOf(modified, word);
            text.Put(word);
            step = TypeOf(modified.target);
        } else if (step->GetTypeKind() == ktType::typeArray) {
            const auto &array = static_cast<const ktArrayType &>(*step);
            DescribeArray(array, text);
            step = TypeOf(array.elementType);
        } else {
            text.Put(Printable(step->GetName()));
            return;
        }
    }
}

void ShowType(const ktType &type, DataReader *reader, ktLines &output) {
    TypeLines lines(output);
    switch (type.GetTypeKind()) {
    case ktType::typeBasic:
        lines.Show(static_cast<const ktBasicType &>(type));
        if (reader) lines.ShowValue(type.GetSize(), *reader);
        break;
    case ktType::typeComplex:
        lines.Show(static_cast<const ktComplexType &>(type));
        break;
    case ktType::typeModified:
        lines.Show(static_cast<const ktModifiedType &>(type));
        break;
    case ktType::typeAlias:
        lines.Show(static_cast<const ktAliasType &>(type));
        break;
    case ktType::typeEnum:
        lines.Show(static_cast<const ktEnumType &>(type));
        break;
    case ktType::typeFunction:
        lines.Show(static_cast<const ktFuncType &>(type));
        break;
    case ktType::typeArray:
        lines.Show(static_cast<const ktArrayType &>(type));
        break;
    case ktType::typeRange:
        lines.Show(static_cast<const ktRangeType &>(type));
        break;
    }
}
