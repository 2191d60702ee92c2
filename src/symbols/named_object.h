#pragma once

/// The name of a symbol object, whether it is a field or, as with types, behind an operation.
template <class T>
const char *NameOf(const T &object) {
    if constexpr (requires { object.GetName(); }) {
        return object.GetName();
    } else {
        return object.name.Get();
    }
}

/// Gives `object` a private copy of `name`; false, with the old name, for null and without memory.
template <class T>
bool SetNameOf(T &object, const char *name) {
    if constexpr (requires { object.SetName(name); }) {
        return object.SetName(name);
    } else {
        return object.name.Assign(name);
    }
}

/// Makes `lasting`, which outlives `object`, its name, without a copy.
template <class T>
void LendNameTo(T &object, const char *lasting) {
    if constexpr (requires { object.LendName(lasting); }) {
        object.LendName(lasting);
    } else {
        object.name.Lend(lasting);
    }
}
