#include "symbols/type_ref.h"

#include "symbols/object.h"

void ktTypeRef::Release() {
    if (ktObject *object = Detach()) object->Release();
}
