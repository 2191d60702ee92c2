#pragma once

#include <vector>

#include "symbols/type_ref.h"

class ktFunction;
class ktObject;
class ktType;

/// Takes the counted references out of the objects it visits and out of the objects without a unit that these
/// lead to, and drops them. A file may hold types and functions that refer to each other in a circle;
/// counting alone would keep such a circle for ever, so its owner sweeps before it lets go. What another unit
/// owns is left whole: that unit may live on. Each object's references are taken once and the walk keeps its
/// own stack, so it ends in time linear to what it sweeps, whatever the shape. A swept object's references
/// are none.
class ktReferenceSweep {
public:
    /// Sweeps `object`, which the caller keeps alive, and all without a unit that it leads to. Kinds that own
    /// no counted reference are passed over.
    void Visit(ktObject &object);

private:
    void TakeAll(ktObject &object);
    void TakeFromType(ktType &type);
    void TakeFromFunction(ktFunction &function);
    void Take(ktTypeRef &reference);

    std::vector<ktObject *> taken; // one reference each
};
