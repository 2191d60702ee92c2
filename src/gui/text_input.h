#pragma once

#include "gui/color.h"
#include "gui/component.h"
#include "gui/relaxed.h"

#include <cstddef>
#include <cstdint>

/// A line of text to be edited, bytes in a buffer of fixed size. A click gives it the focus and does not move
/// the caret.
class ktTextInput : public ktComponent {
public:
    static constexpr size_t textSize = 512;

    uint32_t GetKind() const final { return ktKindTextInput; }
    bool Draw(ktDrawList &list) override;
    bool OnLeftDown(int32_t px, int32_t py) override;
    bool OnLeftUp(int32_t px, int32_t py) override;
    bool OnKey(const ktKeyEvent &event) override;
    bool OnMouseMove(int32_t px, int32_t py) override;
    bool OnHoverEnter() override;
    bool OnHoverLeave() override;
    /// Shows the caret, or hides it.
    bool SetFocus(bool focused) override;
    /// Enter was pressed; the result is the key's.
    virtual bool OnEnter();
    /// Esc was pressed; the result is the key's. Clears the text.
    virtual bool OnEscape();

    /// Takes the first 511 bytes; null is the empty text. The caret goes to the end.
    void SetText(const char *newText);
    void Clear();

    ktSharedText<textSize> text;
    ktRelaxed<uint32_t> caret = 0; ///< index of the byte behind it
    uint32_t length = 0;           ///< bytes of text
    uint32_t capacity = textSize - 1;
    uint32_t high_water = 0; ///< largest length since the text was set or cleared
    bool reserved_flags[2] = {true, true};
    uint32_t reserved = 0;
    bool has_focus = false;
    uint32_t scroll = 0; ///< first byte on show; the render thread's
    int32_t back_first = -1;
    int32_t line_first = -1;
    int32_t text_first = -1;
    int32_t caret_first = -1;
    ktColor back_color = ktColorInput;
    ktColor text_color = ktColorText; ///< of the line below as well
    ktRelaxed<ktColor> caret_color = ktColorNoCaret;
    ktColor caret_focus_color = ktColorText;
    ktColor caret_blur_color = ktColorNoCaret;

private:
    void Type(uint64_t character);
    void Paste();
    void RemoveByte(uint32_t place);
    void SetLength(uint32_t newLength);
};
