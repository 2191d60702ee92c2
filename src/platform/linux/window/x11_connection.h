#pragma once

#include <X11/Xlib.h>

#include <cstddef>
#include <cstdint>
#include <vector>

/// A connection to the display that nothing else reads, so that answers can be waited for. Main thread.
class ktX11Connection {
public:
    ktX11Connection() = default;
    ~ktX11Connection();
    ktX11Connection(const ktX11Connection &) = delete;
    ktX11Connection &operator=(const ktX11Connection &) = delete;

    /// False when there is no display. From here on a request that the display refuses does not end the
    /// process.
    bool Open();
    /// Safe to call again.
    void Close();
    Display *Get() const { return display; }
    Window Root() const;
    /// The numbers in a window's property; empty when it has none of that type, or is gone.
    std::vector<uint32_t> Numbers(Window window, const char *name, Atom type) const;

    /// Bytes that one property can be given at once.
    size_t LargestProperty() const;

private:
    Display *display = nullptr;
};

/// Asks the display where on the screen the pointer is, and whether its left button is down.
void ReadX11Pointer(Display *display, int32_t &x, int32_t &y, bool &leftIsDown);
