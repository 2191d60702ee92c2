#pragma once

#include <cstdint>

// Numbers of the debugging format that this reader acts on.

enum ktDwTag : uint8_t {
    ktDwTagArrayType = 0x01,
    ktDwTagEnumerationType = 0x04,
    ktDwTagFormalParameter = 0x05,
    ktDwTagMember = 0x0D,
    ktDwTagPointerType = 0x0F,
    ktDwTagReferenceType = 0x10,
    ktDwTagCompileUnit = 0x11,
    ktDwTagStructureType = 0x13,
    ktDwTagSubroutineType = 0x15,
    ktDwTagTypedef = 0x16,
    ktDwTagUnionType = 0x17,
    ktDwTagInlinedSubroutine = 0x1D,
    ktDwTagSubrangeType = 0x21,
    ktDwTagBaseType = 0x24,
    ktDwTagConstType = 0x26,
    ktDwTagEnumerator = 0x28,
    ktDwTagSubprogram = 0x2E,
    ktDwTagVariable = 0x34,
    ktDwTagVolatileType = 0x35,
    ktDwTagRestrictType = 0x37,
};

enum ktDwAttribute : uint8_t {
    ktDwAtLocation = 0x02,
    ktDwAtName = 0x03,
    ktDwAtByteSize = 0x0B,
    ktDwAtBitOffset = 0x0C,
    ktDwAtBitSize = 0x0D,
    ktDwAtStmtList = 0x10,
    ktDwAtLowPc = 0x11,
    ktDwAtHighPc = 0x12,
    ktDwAtCompDir = 0x1B,
    ktDwAtConstValue = 0x1C,
    ktDwAtLowerBound = 0x22,
    ktDwAtBitStride = 0x2E,
    ktDwAtUpperBound = 0x2F,
    ktDwAtAbstractOrigin = 0x31,
    ktDwAtDataMemberLocation = 0x38,
    ktDwAtEncoding = 0x3E,
    ktDwAtMacroInfo = 0x43,
    ktDwAtType = 0x49,
    ktDwAtByteStride = 0x51,
    ktDwAtRanges = 0x55,
};
// Of one compiler's own, too large for the table above.
constexpr uint64_t ktDwAtGnuMacros = 0x2119;
constexpr uint64_t ktDwAtGnuLocviews = 0x2137;

enum ktDwForm : uint8_t {
    ktDwFormAddr = 0x01,
    ktDwFormBlock2 = 0x03,
    ktDwFormBlock4 = 0x04,
    ktDwFormData2 = 0x05,
    ktDwFormData4 = 0x06,
    ktDwFormData8 = 0x07,
    ktDwFormString = 0x08,
    ktDwFormBlock = 0x09,
    ktDwFormBlock1 = 0x0A,
    ktDwFormData1 = 0x0B,
    ktDwFormFlag = 0x0C,
    ktDwFormSdata = 0x0D,
    ktDwFormStrp = 0x0E,
    ktDwFormUdata = 0x0F,
    ktDwFormRefAddr = 0x10,
    ktDwFormRef1 = 0x11,
    ktDwFormRef2 = 0x12,
    ktDwFormRef4 = 0x13,
    ktDwFormRef8 = 0x14,
    ktDwFormRefUdata = 0x15,
    ktDwFormIndirect = 0x16,
    ktDwFormSecOffset = 0x17,
    ktDwFormExprloc = 0x18,
    ktDwFormFlagPresent = 0x19,
    ktDwFormLineStrp = 0x1F,
    ktDwFormRefSig8 = 0x20,
    ktDwFormImplicitConst = 0x21,
    ktDwFormRnglistx = 0x23,
};

/// Values of an encoding attribute.
enum ktDwEncoding : uint8_t {
    ktDwAteBoolean = 2,
    ktDwAteComplexFloat = 3,
    ktDwAteFloat = 4,
    ktDwAteSignedChar = 6,
    ktDwAteUnsigned = 7,
    ktDwAteUnsignedChar = 8,
};

/// Kinds of entries in a version 5 range list.
enum ktDwRangeListEntry : uint8_t {
    ktDwRleEndOfList = 0,
    ktDwRleBaseAddressx = 1,
    ktDwRleStartxEndx = 2,
    ktDwRleStartxLength = 3,
    ktDwRleOffsetPair = 4,
    ktDwRleBaseAddress = 5,
    ktDwRleStartEnd = 6,
    ktDwRleStartLength = 7,
};

constexpr uint8_t ktDwUnitSkeleton = 4;
constexpr uint8_t ktDwUnitSplitCompile = 5;
