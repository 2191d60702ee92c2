// Graphs of types with any references among them, as a file may hold them: every line of every type ends
// within its limit, whatever the names. The texts of names are also printed as formats.

#include "symbols/type_display.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "app/cut_text.h"
#include "support/counting_reader.h"
#include "support/recording_lines.h"
#include "support/type_builder.h"
#include "symbols/bare_format.h"

namespace {

constexpr size_t maxTypes = 64;

void Require(bool condition) {
    if (!condition) std::abort();
}

/// Numbers and names from the input; zeros and empty names behind its end.
class Input {
public:
    Input(const uint8_t *data, size_t size) : at(data), left(size) {}

    bool IsEmpty() const { return left == 0; }
    uint8_t Byte() {
        if (left == 0) return 0;
        --left;
        return *at++;
    }
    uint64_t Number() {
        uint64_t number = 0;
        for (int count = Byte() % 9; count > 0; --count) number = number << 8 | Byte();
        return number;
    }
    std::string Name() {
        std::string name;
        for (size_t count = Byte(); count > 0 && left > 0; --count) name += static_cast<char>(Byte());
        return name;
    }

private:
    const uint8_t *at;
    size_t left;
};

/// Makes types first and their references afterwards, so that any circle can come about.
class Graph {
public:
    Graph(ktSymbolFactory &factory, ktCompUnit *unit) : types(factory, unit) {}

    void Fill(Input &input) {
        while (!input.IsEmpty() && all.size() < maxTypes) AddType(input);
        for (ktTypeRef *reference : open) Resolve(*reference, input, true);
        for (ktTypeRef *reference : openMembers) Resolve(*reference, input, false);
    }
    const std::vector<ktType *> &All() const { return all; }

private:
    void AddType(Input &input) {
        const uint8_t kind = input.Byte();
        const std::string name = input.Name();
        const uint64_t size = input.Number();
        switch (kind % 8) {
        case ktType::typeBasic:
            all.push_back(types.Basic(name.c_str(), size));
            break;
        case ktType::typeComplex: {
            ktComplexType *type = types.Complex(name.c_str(), size);
            openMembers.push_back(&types.Member(type, name.c_str(), input.Number(), nullptr)->type);
            all.push_back(type);
            break;
        }
        case ktType::typeModified:
            AddReferring(types.Modified(size, nullptr), &ktModifiedType::target);
            break;
        case ktType::typeAlias:
            AddReferring(types.Alias(name.c_str(), nullptr), &ktAliasType::target);
            break;
        case ktType::typeEnum: {
            ktEnumType *type = types.Enum(name.c_str(), size, nullptr);
            types.Enumerator(type, name.c_str(), static_cast<int64_t>(input.Number()));
            AddReferring(type, &ktEnumType::underlying);
            break;
        }
        case ktType::typeFunction: {
            ktFuncType *type = types.Func(name.c_str(), nullptr);
            open.push_back(&types.Arg(type, name.c_str(), nullptr)->type);
            AddReferring(type, &ktFuncType::returnType);
            break;
        }
        case ktType::typeArray: {
            const auto lower = static_cast<int64_t>(input.Number());
            const auto upper = static_cast<int64_t>(input.Number());
            ktArrayType *type = types.Array(name.c_str(), size, nullptr, {{lower, upper}});
            open.push_back(&type->ranges[0]->indexType);
            AddReferring(type, &ktArrayType::elementType);
            break;
        }
        default:
            AddReferring(types.Range(name.c_str(), nullptr), &ktRangeType::indexType);
            break;
        }
    }
    template <class T>
    void AddReferring(T *type, ktTypeRef T::*reference) {
        all.push_back(type);
        open.push_back(&(type->*reference));
    }
    void Resolve(ktTypeRef &reference, Input &input, bool owns) {
        const size_t choice = input.Byte();
        if (choice >= 250) {
            reference.SetOffset(choice);
        } else if (choice < 240 && !all.empty()) {
            ktType *type = all[choice % all.size()];
            if (owns) {
                ktTypeBuilder::Refer(reference, type);
            } else {
                reference.SetObject(type);
            }
        }
    }

    ktTypeBuilder types;
    std::vector<ktType *> all;
    std::vector<ktTypeRef *> open;
    std::vector<ktTypeRef *> openMembers;
};

void PrintAsFormat(const uint8_t *data, size_t size) {
    const std::string format(reinterpret_cast<const char *>(data), size);
    char buffer[33];
    std::memset(buffer, '?', sizeof buffer);
    ktCutText text(buffer, 32);
    PrintBareFormat(text, format.c_str());
    Require(text.Length() == std::strlen(buffer) && text.Length() < 32 && buffer[32] == '?');
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    PrintAsFormat(data, size);
    ktSymbolFactory factory;
    ktCompUnit *unit = factory.CreateCompUnit();
    Graph graph(factory, unit);
    Input input(data, size);
    graph.Fill(input);
    for (const ktType *type : graph.All()) {
        ktRecordingLines output;
        ktCountingReader reader({data, data + size});
        reader.endless = true;
        ShowType(*type, &reader, output);
        Require(!output.lines.empty() && output.lines.size() <= 2);
        for (const std::string &line : output.lines) Require(line.size() <= 511);
        Require(reader.largestRead <= 0x10000);
    }
    unit->Release();
    return 0;
}
