#pragma once

#include "symbols/object.h"
#include "symbols/object_list.h"
#include "symbols/owned_text.h"
#include "symbols/range_list.h"
#include "symbols/type_ref.h"

class ktFuncArg;
class ktVariable;

/// A function with its address ranges. Owns its arguments, its locals and the reference to its return type.
class ktFunction : public ktObject {
public:
    explicit ktFunction(uint64_t id) : ktObject(id) {}
    ~ktFunction() override;

    Kind GetKind() const override { return kindFunction; }
    virtual bool IsInlined() const { return false; }

    ktRangeList ranges;
    ktOwnedText name;
    ktTypeRef returnType; ///< owns a reference once resolved
    uint64_t entry = 0;   ///< address of the first instruction
    ktObjectList<ktFuncArg> args;
    ktObjectList<ktVariable> locals;
};

/// One inlined call, with the ranges of its body.
class ktInlinedFunction final : public ktFunction {
public:
    explicit ktInlinedFunction(uint64_t id) : ktFunction(id) {}
    ~ktInlinedFunction() override;

    bool IsInlined() const override { return true; }

    ktTypeRef origin; ///< the abstract function; owns a reference once resolved
};
