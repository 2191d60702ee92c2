#include "gui/address_input.h"

bool ktAddressInput::OnEnter() { return ParseAddress(text.Copy().data(), address); }
