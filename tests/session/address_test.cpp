#include "session/address.h"

#include <string>

#include <gtest/gtest.h>

namespace {

ktAddress Parsed(const char *text) {
    ktAddress address;
    EXPECT_TRUE(ParseAddress(text, address)) << text;
    return address;
}

std::string Formatted(const ktAddress &address) {
    char text[ktAddressTextSize] = "garbage";
    const bool hasForm = FormatAddress(address, text);
    EXPECT_EQ(hasForm, text[0] != 0);
    return text;
}

void ExpectAddress(const char *text, uint32_t kind, uint16_t selector, uint64_t value, uint64_t root) {
    const ktAddress address = Parsed(text);
    EXPECT_EQ(address.kind, kind) << text;
    EXPECT_EQ(address.selector, selector) << text;
    EXPECT_EQ(address.value, value) << text;
    EXPECT_EQ(address.root, root) << text;
}

} // namespace

TEST(Address, ResetRecord) {
    ktAddress address = Parsed("8:1000@2000");
    address.width = 4;
    address.attribute = 8;
    address.Reset();
    EXPECT_EQ(address.value, 0u);
    EXPECT_EQ(address.root, 0u);
    EXPECT_EQ(address.selector, 0u);
    EXPECT_EQ(address.width, 0u);
    EXPECT_EQ(address.attribute, 9u);
    EXPECT_EQ(address.kind, 0u);
}

TEST(Address, ParsesEachForm) {
    ExpectAddress("#1000", ktAddress::kindPhysical, 0, 0x1000, 0);
    ExpectAddress("1000", ktAddress::kindLinear, 0, 0x1000, 0);
    ExpectAddress("8:1000", ktAddress::kindVirtual, 8, 0x1000, 0);
    ExpectAddress("1000@2000", ktAddress::kindLinear, 0, 0x1000, 0x2000);
    ExpectAddress("8:1000@2000", ktAddress::kindVirtual, 8, 0x1000, 0x2000);
}

TEST(Address, PrefixesAndBothCasesAreRead) {
    ExpectAddress("0x10:0xFfFf8000AbCdEf01@0x1aa000", ktAddress::kindVirtual, 0x10, 0xFFFF8000ABCDEF01,
                  0x1AA000);
    ExpectAddress("#0xFEE00000", ktAddress::kindPhysical, 0, 0xFEE00000, 0);
}

TEST(Address, SeparatorsThatDoNotFitFail) {
    for (const char *text :
         {"#8:1000", "#1000@2000", "1:2:3", "1@2@3", "8:1000@2@3", "8:1@2:3", "#:", "#@"}) {
        ktAddress address;
        EXPECT_FALSE(ParseAddress(text, address)) << text;
    }
}

TEST(Address, SelectorMayStandInTheRootsPart) {
    ExpectAddress("1000@8:2000", ktAddress::kindVirtual, 8, 0x1000, 0x2000);
}

TEST(Address, EmptyTokensAreZero) {
    ExpectAddress("#", ktAddress::kindPhysical, 0, 0, 0);
    ExpectAddress(":", ktAddress::kindVirtual, 0, 0, 0);
    ExpectAddress("@", ktAddress::kindLinear, 0, 0, 0);
    ExpectAddress(":@", ktAddress::kindVirtual, 0, 0, 0);
    ExpectAddress("8:", ktAddress::kindVirtual, 8, 0, 0);
    ExpectAddress("@2000", ktAddress::kindLinear, 0, 0, 0x2000);
    ExpectAddress("1000@", ktAddress::kindLinear, 0, 0x1000, 0);
}

TEST(Address, UnknownCharactersVanish) {
    ExpectAddress("12xz34", ktAddress::kindLinear, 0, 0x1234, 0);
    ExpectAddress("fffff800`12345678", ktAddress::kindLinear, 0, 0xFFFFF80012345678, 0);
    ExpectAddress("##10", ktAddress::kindPhysical, 0, 0x10, 0);
    ExpectAddress("1#0", ktAddress::kindLinear, 0, 0x10, 0);
    ExpectAddress("zz", ktAddress::kindLinear, 0, 0, 0);
}

TEST(Address, HighBitsFallAway) {
    ExpectAddress("12345:1", ktAddress::kindVirtual, 0x2345, 1, 0);
    ExpectAddress("1FFFFFFFFFFFFFFFF", ktAddress::kindLinear, 0, 0xFFFFFFFFFFFFFFFF, 0);
}

TEST(Address, LengthIs1To63) {
    ktAddress address;
    EXPECT_FALSE(ParseAddress(nullptr, address));
    EXPECT_FALSE(ParseAddress("", address));
    EXPECT_TRUE(ParseAddress(std::string(63, '1').c_str(), address));
    EXPECT_EQ(address.value, 0x1111111111111111u);
    EXPECT_FALSE(ParseAddress(std::string(64, '1').c_str(), address));
    EXPECT_FALSE(ParseAddress(std::string(1000, '1').c_str(), address));
    EXPECT_TRUE(ParseAddress(("#" + std::string(62, '1')).c_str(), address));
    EXPECT_FALSE(ParseAddress(("#" + std::string(63, '1')).c_str(), address));
    EXPECT_TRUE(ParseAddress(("8:" + std::string(60, '0') + "1").c_str(), address));
    EXPECT_EQ(address.value, 1u);
}

TEST(Address, FailureLeavesTheRecordUntouched) {
    ktAddress address = Parsed("8:1000@2000");
    for (const std::string &text :
         {std::string("1:2:3"), std::string("#1@2"), std::string("9:5@6@"), std::string(64, '1')}) {
        EXPECT_FALSE(ParseAddress(text.c_str(), address));
        EXPECT_EQ(address.kind, ktAddress::kindVirtual);
        EXPECT_EQ(address.selector, 8u);
        EXPECT_EQ(address.value, 0x1000u);
        EXPECT_EQ(address.root, 0x2000u);
    }
}

TEST(Address, SuccessFillsFourFieldsOnly) {
    ktAddress address = Parsed("8:1000@2000");
    address.width = 2;
    address.attribute = 8;
    EXPECT_TRUE(ParseAddress("#30", address));
    EXPECT_EQ(address.kind, ktAddress::kindPhysical);
    EXPECT_EQ(address.selector, 0u);
    EXPECT_EQ(address.value, 0x30u);
    EXPECT_EQ(address.root, 0u);
    EXPECT_EQ(address.width, 2u);
    EXPECT_EQ(address.attribute, 8u);
}

TEST(Address, FormatsVirtualLinearAndPhysical) {
    EXPECT_EQ(Formatted(Parsed("8:1000@2000")), "0008:0000000000001000");
    EXPECT_EQ(Formatted(Parsed("ffffffffabcdef01")), "FFFFFFFFABCDEF01");
    EXPECT_EQ(Formatted(Parsed("#fee00000")), "#00000000FEE00000");
    EXPECT_EQ(Formatted(Parsed("ffff:ffffffffffffffff")), "FFFF:FFFFFFFFFFFFFFFF");
}

TEST(Address, OtherKindsHaveNoText) {
    ktAddress address = Parsed("8:1000");
    for (const uint32_t kind : {0u, 4u, 5u, 6u, 7u, 8u, 9u, 0xFFFFFFFFu}) {
        address.kind = kind;
        EXPECT_EQ(Formatted(address), "") << kind;
    }
}
