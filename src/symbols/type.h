#pragma once

#include "symbols/object.h"
#include "symbols/owned_text.h"
#include "symbols/type_ref.h"

/// Base of all types. Owned by their unit; filled by one thread, read-only after that.
class ktType : public ktObject {
public:
    enum TypeKind : uint32_t {
        typeBasic = 0,
        typeComplex = 1,
        typeModified = 2,
        typeAlias = 3,
        typeEnum = 4,
        typeFunction = 5,
        typeArray = 6,
        typeRange = 7,
    };

    explicit ktType(uint64_t id) : ktObject(id) {}

    Kind GetKind() const override { return kindType; }
    virtual TypeKind GetTypeKind() const = 0;
    virtual const char *GetName() const { return name.Get(); }
    /// Size in bytes.
    virtual uint64_t GetSize() const = 0;
    /// Replaces the name by a private copy; for null, and without memory, the old name stays and the
    /// result is false.
    virtual bool SetName(const char *text) { return name.Assign(text); }
    /// Takes a text that outlives the type as its name, without a copy.
    void LendName(const char *lasting) { name.Lend(lasting); }

private:
    ktOwnedText name;
};

/// The type that `reference` holds; null for none, while unresolved, and for an object of another kind.
inline ktType *TypeOf(const ktTypeRef &reference) {
    ktObject *object = reference.Object();
    return object && object->GetKind() == ktObject::kindType ? static_cast<ktType *>(object) : nullptr;
}
