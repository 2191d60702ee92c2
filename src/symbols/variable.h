#pragma once

#include "symbols/object.h"
#include "symbols/owned_text.h"
#include "symbols/type_ref.h"

/// A variable of a unit or a local of a function, which owns it.
class ktVariable final : public ktObject {
public:
    explicit ktVariable(uint64_t id) : ktObject(id) {}
    ~ktVariable() override { type.Release(); }

    Kind GetKind() const override { return kindVariable; }

    ktOwnedText name;
    ktTypeRef type; ///< owns a reference once resolved
};
