#include "symbols/dwarf/tag_rules.h"

#include <algorithm>
#include <array>

#include "symbols/dwarf/dwarf_format.h"
#include "symbols/types.h"

namespace {

using Field = ktDieField;

constexpr ktKeptAttribute arrayKept[] = {
    {ktDwAtName, Field::name}, {ktDwAtByteSize, Field::size}, {ktDwAtType, Field::type}};
constexpr uint8_t arrayRefused[] = {0x09, 0x0D, 0x17, 0x2C, 0x2E, 0x31, 0x32,
                                    0x3C, 0x47, 0x4E, 0x4F, 0x50, 0x51, 0x5A};

constexpr ktKeptAttribute enumKept[] = {{ktDwAtName, Field::name},
                                        {ktDwAtByteSize, Field::size},
                                        {ktDwAtBitSize, Field::bitSize},
                                        {ktDwAtBitStride, Field::bitStride},
                                        {ktDwAtEncoding, Field::encoding},
                                        {ktDwAtType, Field::type},
                                        {ktDwAtByteStride, Field::byteStride}};
constexpr uint8_t enumRefused[] = {0x17, 0x2C, 0x31, 0x32, 0x3C, 0x47, 0x4E, 0x4F, 0x50, 0x5A, 0x69, 0x6D};

constexpr ktKeptAttribute argumentKept[] = {{ktDwAtName, Field::name}, {ktDwAtType, Field::type}};
constexpr uint8_t argumentRefused[] = {0x02, 0x1C, 0x1E, 0x21, 0x31, 0x34, 0x46, 0x4B, 0x5A, 0x65};

constexpr ktKeptAttribute memberKept[] = {{ktDwAtName, Field::name},
                                          {ktDwAtByteSize, Field::size},
                                          {ktDwAtBitOffset, Field::bitOffset},
                                          {ktDwAtBitSize, Field::bitSize},
                                          {ktDwAtDataMemberLocation, Field::offset},
                                          {ktDwAtType, Field::type}};
constexpr uint8_t memberRefused[] = {0x17, 0x32, 0x3C, 0x3F, 0x5A, 0x61};

constexpr ktKeptAttribute modifiedKept[] = {{ktDwAtName, Field::name}, {ktDwAtType, Field::type}};
constexpr uint8_t modifiedRefused[] = {0x33, 0x4E, 0x4F, 0x50};

constexpr ktKeptAttribute complexKept[] = {
    {ktDwAtName, Field::name}, {ktDwAtByteSize, Field::size}, {ktDwAtBitSize, Field::bitSize}};
constexpr uint8_t complexRefused[] = {0x17, 0x2C, 0x31, 0x32, 0x3C, 0x47, 0x4E, 0x4F, 0x50, 0x5A, 0x69};

constexpr ktKeptAttribute functionTypeKept[] = {{ktDwAtName, Field::name}, {ktDwAtType, Field::type}};
constexpr uint8_t functionTypeRefused[] = {0x17, 0x27, 0x2C, 0x31, 0x32, 0x3C, 0x4E, 0x4F, 0x50, 0x5A};

constexpr ktKeptAttribute aliasKept[] = {{ktDwAtName, Field::name}, {ktDwAtType, Field::type}};
constexpr uint8_t aliasRefused[] = {0x17, 0x2C, 0x31, 0x32, 0x3C, 0x4E, 0x4F, 0x50, 0x5A};

constexpr ktKeptAttribute rangeKept[] = {{ktDwAtName, Field::name},
                                         {ktDwAtLowerBound, Field::lower},
                                         {ktDwAtUpperBound, Field::upper},
                                         {ktDwAtType, Field::type}};
constexpr uint8_t rangeRefused[] = {0x0B, 0x0D, 0x17, 0x2E, 0x31, 0x32, 0x37,
                                    0x3C, 0x4E, 0x4F, 0x50, 0x51, 0x5A, 0x62};

constexpr ktKeptAttribute basicKept[] = {{ktDwAtName, Field::name},
                                         {ktDwAtByteSize, Field::size},
                                         {ktDwAtBitOffset, Field::bitOffset},
                                         {ktDwAtBitSize, Field::bitSize},
                                         {ktDwAtEncoding, Field::encoding}};
constexpr uint8_t basicRefused[] = {0x4E, 0x4F, 0x50, 0x5A, 0x5B, 0x5C, 0x5D, 0x5E, 0x5F, 0x60, 0x65, 0x6B};

constexpr ktKeptAttribute enumeratorKept[] = {{ktDwAtName, Field::name}, {ktDwAtConstValue, Field::value}};
constexpr uint8_t enumeratorRefused[] = {0x5A};

constexpr ktKeptAttribute variableKept[] = {{ktDwAtName, Field::name}, {ktDwAtType, Field::type}};
constexpr uint8_t variableRefused[] = {0x02, 0x17, 0x1C, 0x2C, 0x31, 0x32, 0x3C,
                                       0x3F, 0x46, 0x47, 0x4B, 0x5A, 0x65, 0x6E};

constexpr ktKeptAttribute unitKept[] = {{ktDwAtName, Field::name},       {ktDwAtStmtList, Field::lineProgram},
                                        {ktDwAtLowPc, Field::lowPc},     {ktDwAtHighPc, Field::highPc},
                                        {ktDwAtCompDir, Field::compDir}, {ktDwAtRanges, Field::ranges}};

constexpr ktKeptAttribute functionKept[] = {{ktDwAtName, Field::name},
                                            {ktDwAtLowPc, Field::lowPc},
                                            {ktDwAtHighPc, Field::highPc},
                                            {ktDwAtType, Field::type},
                                            {ktDwAtRanges, Field::ranges}};
constexpr ktKeptAttribute inlinedKept[] = {
    {ktDwAtName, Field::name}, {ktDwAtLowPc, Field::lowPc},           {ktDwAtHighPc, Field::highPc},
    {ktDwAtType, Field::type}, {ktDwAtAbstractOrigin, Field::origin}, {ktDwAtRanges, Field::ranges}};

constexpr size_t tagCount = ktDwTagRestrictType + 1;

constexpr std::array<ktTagRule, tagCount> MakeRules() {
    std::array<ktTagRule, tagCount> rules{};
    const auto modified = [](uint8_t modifier) {
        return ktTagRule{ktDieObject::modifiedType, modifier, modifiedKept, modifiedRefused};
    };
    rules[ktDwTagArrayType] = {ktDieObject::arrayType, 0, arrayKept, arrayRefused};
    rules[ktDwTagEnumerationType] = {ktDieObject::enumType, 0, enumKept, enumRefused};
    rules[ktDwTagFormalParameter] = {ktDieObject::argument, 0, argumentKept, argumentRefused};
    rules[ktDwTagMember] = {ktDieObject::member, 0, memberKept, memberRefused};
    rules[ktDwTagPointerType] = modified(ktModifierPointer);
    rules[ktDwTagReferenceType] = modified(ktModifierReference);
    rules[ktDwTagConstType] = modified(ktModifierConst);
    rules[ktDwTagVolatileType] = modified(ktModifierVolatile);
    rules[ktDwTagRestrictType] = modified(ktModifierRestrict);
    rules[ktDwTagCompileUnit] = {ktDieObject::unit, 0, unitKept, {}};
    rules[ktDwTagStructureType] = {ktDieObject::complexType, 0, complexKept, complexRefused};
    rules[ktDwTagUnionType] = {ktDieObject::complexType, 0, complexKept, complexRefused};
    rules[ktDwTagSubroutineType] = {ktDieObject::functionType, 0, functionTypeKept, functionTypeRefused};
    rules[ktDwTagTypedef] = {ktDieObject::aliasType, 0, aliasKept, aliasRefused};
    rules[ktDwTagInlinedSubroutine] = {ktDieObject::inlinedFunction, 0, inlinedKept, {}};
    rules[ktDwTagSubprogram] = {ktDieObject::function, 0, functionKept, {}};
    rules[ktDwTagSubrangeType] = {ktDieObject::rangeType, 0, rangeKept, rangeRefused};
    rules[ktDwTagBaseType] = {ktDieObject::basicType, 0, basicKept, basicRefused};
    rules[ktDwTagEnumerator] = {ktDieObject::enumerator, 0, enumeratorKept, enumeratorRefused};
    rules[ktDwTagVariable] = {ktDieObject::variable, 0, variableKept, variableRefused};
    return rules;
}

constexpr std::array<ktTagRule, tagCount> rulesByTag = MakeRules();

} // namespace

ktDieField ktTagRule::FieldOf(uint64_t attribute) const {
    const auto found = std::find_if(kept.begin(), kept.end(), [attribute](const ktKeptAttribute &entry) {
        return entry.attribute == attribute;
    });
    return found == kept.end() ? ktDieField::none : found->field;
}

bool ktTagRule::Refuses(uint64_t attribute) const {
    return std::find(refused.begin(), refused.end(), attribute) != refused.end();
}

const ktTagRule &RuleOfTag(uint64_t tag) { return rulesByTag[tag < tagCount ? tag : 0]; }
