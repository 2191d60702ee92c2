#pragma once

#include "gui/button.h"

class ktLines;

/// Empties a line store. A cross.
class ktClearButton final : public ktIconButton<ktLines> {
public:
    bool Draw(ktDrawList &list) override;
    void OnClick() override;

    int32_t cross_first = -1;
};

/// Puts all text of a line store on the clipboard. Two sheets.
class ktCopyButton final : public ktIconButton<ktLines> {
public:
    bool Draw(ktDrawList &list) override;
    void OnClick() override;

    int32_t rear_first = -1;
    int32_t front_first = -1;
};
