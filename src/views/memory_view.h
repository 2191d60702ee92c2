#pragma once

#include "gui/color.h"
#include "gui/component.h"
#include "gui/relaxed.h"
#include "session/address.h"
#include "session/mem_view_request.h"

#include <cstddef>
#include <cstdint>

class ktCutText;
class ktLines;
class ktSession;

/// How the bytes become rows.
struct ktRowFormat {
    uint32_t columns = 16;     ///< elements in a row
    uint32_t element_size = 1; ///< bytes
    uint32_t flags = 21;       ///< hexadecimal, ASCII and the offset behind the row; ktDumpFlag
    uint32_t width = 256;      ///< of the text
    ktLines *sink = nullptr;
};

/// A hex dump of target memory. It never reads itself: it keeps one request, which the session fills on a
/// command thread, and shows the bytes that came last.
class ktMemoryView final : public ktComponent {
public:
    static constexpr size_t lineSize = 256;
    static constexpr size_t byteCount = 2048;

    ktMemoryView();
    /// Takes the request off the session's list; no command runs then.
    ~ktMemoryView() override;
    uint32_t GetKind() const override { return ktKindMemoryView; }
    bool Draw(ktDrawList &list) override;
    bool OnKey(const ktKeyEvent &event) override;
    bool OnWheel(bool down) override;

    /// Moves the request to the list of `newSession`, which may be null. Command threads walk these lists
    /// without a lock, so this is for times when none runs: before the first command and after the last one.
    void SetSession(ktSession *newSession);
    /// Shows `address` and what follows it.
    void Show(const ktAddress &address);

    ktColor text_color = ktColorText;
    ktColor back_color = ktColorView;
    int32_t back_first = -1;
    ktAddress base;    ///< the address entered last; guarded by request.addressLock
    int64_t delta = 0; ///< bytes scrolled from it
    ktSession *session = nullptr;
    ktMemViewRequest request;
    char line[lineSize] = {}; ///< the row being drawn
    uint8_t bytes[byteCount] = {};
    ktRowFormat format;
    /// There is a target. The session's engine comes and goes on command threads; whoever is told of it tells
    /// it here.
    ktRelaxed<bool> connected = false;

private:
    struct Place {
        ktAddress address; ///< of the first row
        uint64_t base;     ///< value that offsets count from
        bool updating;
    };

    Place CurrentPlace();
    uint32_t RowStep() const;
    bool Scroll(int64_t by);
    void RequestRefresh();
    void DrawRows(ktDrawList &list, const Place &place, uint32_t lineHeight);
    void PutBytes(ktCutText &text, const Place &place, uint64_t address) const;
};
