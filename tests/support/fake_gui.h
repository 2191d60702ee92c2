#pragma once

#include "app/gui_link.h"

#include <cstdint>
#include <utility>
#include <vector>

/// Writes down what it is told.
class ktFakeGui final : public ktGuiLink {
public:
    void SetSession(ktSession *newSession, ktDisasm *newDisasm) override {
        session = newSession;
        disasm = newDisasm;
        sessions.emplace_back(newSession, newDisasm);
    }
    void PostClose() override { ++closes; }

    ktSession *session = nullptr;
    ktDisasm *disasm = nullptr;
    std::vector<std::pair<ktSession *, ktDisasm *>> sessions; ///< all that were set, in order
    uint32_t closes = 0;
};
