#include "views/time_label.h"

#include <array>
#include <cinttypes>
#include <cstdio>

#include "platform/clock.h"

bool ktTimeLabel::Draw(ktDrawList &list) {
    std::array<char, textSize> number;
    std::snprintf(number.data(), number.size(), "%016" PRIX64, SystemClock().Milliseconds());
    SetText(number.data());
    return ktLabel::Draw(list);
}
