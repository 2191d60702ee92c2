#pragma once

#include <memory>
#include <string_view>

/// An owned, terminated string in one pointer; may be null.
class ktOwnedText {
public:
    ktOwnedText() = default;
    const char *Get() const { return text.get(); }
    /// Replaces the text by a private copy; for null, and without memory, the old text stays and the
    /// result is false. `source` may be this text or a part of it.
    bool Assign(const char *source);
    /// The same for `source` as it is, which may lack a terminator.
    bool Assign(std::string_view source);

private:
    std::unique_ptr<char[]> text;
};
