#pragma once

#include "symbols/object_list.h"
#include "symbols/type.h"

class ktComplexType;
class ktEnumType;
class ktFuncArg;

/// Values of `encoding` of basic and enumeration types.
enum ktEncoding : uint32_t {
    ktEncodingSigned = 0, ///< or unknown
    ktEncodingUnsigned = 1,
    ktEncodingCharacter = 2,
    ktEncodingFloating = 4,
    ktEncodingBoolean = 5,
};

/// Bits of `flags` of a modified type, one for each kind of debugging entry.
enum ktModifier : uint64_t {
    ktModifierConst = 1,
    ktModifierPointer = 2,
    ktModifierVolatile = 4,
    ktModifierReference = 8,
    ktModifierRestrict = 16,
};

class ktBasicType final : public ktType {
public:
    explicit ktBasicType(uint64_t id) : ktType(id) {}

    TypeKind GetTypeKind() const override { return typeBasic; }
    uint64_t GetSize() const override { return size; }

    uint32_t encoding = ktEncodingSigned; ///< a ktEncoding
    uint64_t size = 0;
    uint64_t bitOffset = 0;
    uint64_t bitSize = 0;
};

/// Where the bits of a member lie that is no whole number of bytes.
struct ktMemberBits {
    uint64_t byteSize = 0;
    uint64_t bitOffset = 0;
    uint64_t bitSize = 0;
};

inline constexpr ktMemberBits ktNoMemberBits;

/// A member of a struct or union. Its type is not counted: the unit that owns the member owns the type,
/// and a struct that holds a pointer to itself would never go otherwise.
class ktTypeMember final : public ktObject {
public:
    explicit ktTypeMember(uint64_t id) : ktObject(id) {}
    ~ktTypeMember() override { type.Clear(); }

    Kind GetKind() const override { return kindTypeMember; }

    ktOwnedText name;
    ktTypeRef type;                 ///< owns no reference
    ktComplexType *owner = nullptr; ///< not owned
    uint64_t offset = 0;            ///< in bytes from the start of the owner
    /// Outlives the member; by far the most members share one of zeros.
    const ktMemberBits *bits = &ktNoMemberBits;
};

/// A struct or a union.
class ktComplexType final : public ktType {
public:
    explicit ktComplexType(uint64_t id) : ktType(id) {}
    ~ktComplexType() override;

    TypeKind GetTypeKind() const override { return typeComplex; }
    uint64_t GetSize() const override { return size; }

    uint64_t size = 0;
    uint64_t bitSize = 0;
    ktObjectList<ktTypeMember> members; ///< owned
};

/// A qualified type, a pointer or a reference. All of them report the size of what they refer to.
class ktModifiedType final : public ktType {
public:
    explicit ktModifiedType(uint64_t id) : ktType(id) {}
    ~ktModifiedType() override;

    TypeKind GetTypeKind() const override { return typeModified; }
    /// Size of the target; 0 for none and for a chain of targets that comes back to itself.
    uint64_t GetSize() const override;

    ktTypeRef target;   ///< owns a reference once resolved
    uint64_t flags = 0; ///< ktModifier bits
};

class ktAliasType final : public ktType {
public:
    explicit ktAliasType(uint64_t id) : ktType(id) {}
    ~ktAliasType() override;

    TypeKind GetTypeKind() const override { return typeAlias; }
    /// Size of the target; 0 for none and for a chain of targets that comes back to itself.
    uint64_t GetSize() const override;

    ktTypeRef target; ///< owns a reference once resolved
};

class ktEnumMember final : public ktObject {
public:
    explicit ktEnumMember(uint64_t id) : ktObject(id) {}

    Kind GetKind() const override { return kindEnumMember; }
    /// Stores the owner, which is not counted. A second owner is logged and stored all the same.
    void SetOwner(ktEnumType *newOwner);
    ktEnumType *Owner() const { return owner; }

    ktOwnedText name;
    int64_t value = 0;

private:
    ktEnumType *owner = nullptr;
};

class ktEnumType final : public ktType {
public:
    explicit ktEnumType(uint64_t id) : ktType(id) {}
    ~ktEnumType() override;

    TypeKind GetTypeKind() const override { return typeEnum; }
    uint64_t GetSize() const override { return size; }

    uint32_t encoding = ktEncodingSigned; ///< a ktEncoding
    ktTypeRef underlying;                 ///< owns a reference once resolved
    uint64_t size = 0;
    uint64_t byteStride = 0;
    uint64_t bitSize = 0;
    uint64_t bitStride = 0;
    ktObjectList<ktEnumMember> members; ///< owned
};

class ktFuncType final : public ktType {
public:
    explicit ktFuncType(uint64_t id) : ktType(id) {}
    ~ktFuncType() override;

    TypeKind GetTypeKind() const override { return typeFunction; }
    uint64_t GetSize() const override { return 0; }

    ktTypeRef returnType;         ///< owns a reference once resolved
    ktObjectList<ktFuncArg> args; ///< owned
};

/// One dimension of an array.
class ktRangeType final : public ktType {
public:
    explicit ktRangeType(uint64_t id) : ktType(id) {}
    ~ktRangeType() override;

    TypeKind GetTypeKind() const override { return typeRange; }
    uint64_t GetSize() const override { return 0; }

    ktTypeRef indexType; ///< owns a reference once resolved
    int64_t lower = 0;
    int64_t upper = 0;
};

class ktArrayType final : public ktType {
public:
    explicit ktArrayType(uint64_t id) : ktType(id) {}
    ~ktArrayType() override;

    TypeKind GetTypeKind() const override { return typeArray; }
    uint64_t GetSize() const override { return size; }

    ktObjectList<ktRangeType> ranges; ///< owned, one for each dimension
    ktTypeRef elementType;            ///< owns a reference once resolved
    uint64_t size = 0;
};
