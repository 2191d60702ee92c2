#include "gui/address_input.h"
#include "platform/native_message.h"
#include "support/key_events.h"

#include <gtest/gtest.h>

#include <string>

namespace {

bool Enter(ktAddressInput &input, const char *text) {
    input.SetText(text);
    return input.OnKey(KeyDown(ktKeyEnter));
}

} // namespace

TEST(AddressInput, HoldsNoAddressAtFirst) {
    ktAddressInput input;
    EXPECT_EQ(input.address.kind, ktAddress::kindNone);
    EXPECT_EQ(input.address.attribute, 9u);
}

TEST(AddressInput, EnterReadsTheText) {
    ktAddressInput input;
    EXPECT_TRUE(Enter(input, "8:1000@2000"));
    EXPECT_EQ(input.address.kind, ktAddress::kindVirtual);
    EXPECT_EQ(input.address.selector, 8u);
    EXPECT_EQ(input.address.value, 0x1000u);
    EXPECT_EQ(input.address.root, 0x2000u);
    EXPECT_EQ(std::string(input.text.Copy().data()), "8:1000@2000");
}

TEST(AddressInput, ABadTextLeavesTheAddressAlone) {
    ktAddressInput input;
    EXPECT_FALSE(Enter(input, "1:2:3"));
    EXPECT_EQ(input.address.kind, ktAddress::kindNone);
    EXPECT_TRUE(Enter(input, "#1234"));
    EXPECT_FALSE(Enter(input, ""));
    EXPECT_FALSE(Enter(input, "#8:1000"));
    EXPECT_FALSE(Enter(input, std::string(64, '1').c_str()));
    EXPECT_EQ(input.address.kind, ktAddress::kindPhysical);
    EXPECT_EQ(input.address.value, 0x1234u);
}

TEST(AddressInput, EscClearsTheTextAndKeepsTheAddress) {
    ktAddressInput input;
    Enter(input, "1000");
    EXPECT_TRUE(input.OnKey(KeyDown(ktKeyEscape)));
    EXPECT_EQ(input.length, 0u);
    EXPECT_EQ(input.address.value, 0x1000u);
}
