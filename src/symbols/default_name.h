#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

#include "app/hex_digits.h"

class ktAliasType;
class ktArrayType;
class ktBasicType;
class ktCompUnit;
class ktComplexType;
class ktEnumMember;
class ktEnumType;
class ktFuncArg;
class ktFuncType;
class ktFunction;
class ktInlinedFunction;
class ktModifiedType;
class ktModule;
class ktRangeType;
class ktTypeMember;
class ktVariable;

/// What the default name of an object of a class begins with.
template <class T>
inline constexpr const char *ktDefaultPrefix = nullptr;
template <>
inline constexpr const char *ktDefaultPrefix<ktModule> = "mod";
template <>
inline constexpr const char *ktDefaultPrefix<ktCompUnit> = "cu";
template <>
inline constexpr const char *ktDefaultPrefix<ktFunction> = "fn";
template <>
inline constexpr const char *ktDefaultPrefix<ktInlinedFunction> = "fn";
template <>
inline constexpr const char *ktDefaultPrefix<ktVariable> = "var";
template <>
inline constexpr const char *ktDefaultPrefix<ktTypeMember> = "fld";
template <>
inline constexpr const char *ktDefaultPrefix<ktEnumMember> = "em";
template <>
inline constexpr const char *ktDefaultPrefix<ktFuncArg> = "farg";
template <>
inline constexpr const char *ktDefaultPrefix<ktBasicType> = "bas";
template <>
inline constexpr const char *ktDefaultPrefix<ktArrayType> = "arr";
template <>
inline constexpr const char *ktDefaultPrefix<ktEnumType> = "enum";
template <>
inline constexpr const char *ktDefaultPrefix<ktComplexType> = "cplx";
template <>
inline constexpr const char *ktDefaultPrefix<ktModifiedType> = "modt";
template <>
inline constexpr const char *ktDefaultPrefix<ktFuncType> = "fnt";
template <>
inline constexpr const char *ktDefaultPrefix<ktRangeType> = "rngt";
template <>
inline constexpr const char *ktDefaultPrefix<ktAliasType> = "alt";

/// The default name PREFIX_ID of an object. Printed by hand, for there are very many.
struct ktDefaultName {
    ktDefaultName(const char *prefix, uint64_t id) {
        char *end = std::copy_n(prefix, std::strlen(prefix), text);
        *end++ = '_';
        const auto digits = static_cast<uint32_t>((std::bit_width(id) + 3) / 4);
        *ktPutHex(end, id, std::max(digits, 1u)) = 0;
    }

    char text[32];
};
