#pragma once

#include "gui/label.h"

/// Milliseconds of the system's monotonic clock, as 16 hexadecimal digits.
class ktTimeLabel final : public ktLabel {
public:
    bool Draw(ktDrawList &list) override;
};
