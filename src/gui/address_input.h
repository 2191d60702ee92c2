#pragma once

#include "gui/text_input.h"
#include "session/address.h"

/// A line that Enter reads as an address.
class ktAddressInput final : public ktTextInput {
public:
    /// True when the text is an address; `address` is left alone otherwise.
    bool OnEnter() override;

    ktAddress address; ///< the last good one
};
