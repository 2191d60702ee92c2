#pragma once

#include "symbols/object.h"
#include "symbols/owned_text.h"
#include "symbols/type_ref.h"

/// An argument of a function or of a function type, which owns it.
class ktFuncArg final : public ktObject {
public:
    explicit ktFuncArg(uint64_t id) : ktObject(id) {}
    ~ktFuncArg() override { type.Release(); }

    Kind GetKind() const override { return kindFuncArg; }

    ktOwnedText name;
    ktTypeRef type; ///< owns a reference once resolved
};
