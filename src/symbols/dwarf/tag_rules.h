#pragma once

#include <cstdint>
#include <span>

/// What an entry becomes.
enum class ktDieObject : uint8_t {
    none,
    unit,
    function,
    inlinedFunction,
    argument,
    variable,
    member,
    enumerator,
    // types from here on
    arrayType,
    enumType,
    modifiedType,
    aliasType,
    complexType,
    functionType,
    rangeType,
    basicType,
};

constexpr bool IsType(ktDieObject object) { return object >= ktDieObject::arrayType; }
constexpr bool IsFunction(ktDieObject object) {
    return object == ktDieObject::function || object == ktDieObject::inlinedFunction;
}

/// What an attribute is kept as.
enum class ktDieField : uint8_t {
    none,
    name,
    compDir,
    lowPc,
    highPc,
    ranges,
    lineProgram,
    type,
    origin,
    size,
    bitSize,
    bitOffset,
    byteStride,
    bitStride,
    encoding,
    offset,
    lower,
    upper,
    value,
    count,
};

struct ktKeptAttribute {
    uint8_t attribute;
    ktDieField field;
};

/// What becomes of the entries of one tag. An attribute that stands in neither list is dropped without a
/// word, one that is refused with a line in the log.
struct ktTagRule {
    ktDieObject object = ktDieObject::none;
    uint8_t modifier = 0; ///< ktModifier bit of a modified type
    std::span<const ktKeptAttribute> kept;
    std::span<const uint8_t> refused;

    ktDieField FieldOf(uint64_t attribute) const;
    bool Refuses(uint64_t attribute) const;
};

/// The rule of a tag; tags without one make no object.
const ktTagRule &RuleOfTag(uint64_t tag);
