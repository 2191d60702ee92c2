#include "platform/linux/window/x11_connection.h"

#include <algorithm>
#include <climits>

namespace {

/// Windows of others may go away between two requests, and a request may be too large: Xlib would end the
/// process.
int IgnoreError(Display *, XErrorEvent *) { return 0; }

constexpr long longestProperty = 1 << 16; // in numbers

} // namespace

ktX11Connection::~ktX11Connection() { Close(); }

bool ktX11Connection::Open() {
    if (display) return true;
    XInitThreads(); // before anything else of Xlib: the render thread will use a display as well
    display = XOpenDisplay(nullptr);
    if (!display) return false;
    XSetErrorHandler(IgnoreError);
    return true;
}

void ktX11Connection::Close() {
    if (display) XCloseDisplay(display);
    display = nullptr;
}

Window ktX11Connection::Root() const { return DefaultRootWindow(display); }

std::vector<uint32_t> ktX11Connection::Numbers(Window window, const char *name, Atom type) const {
    std::vector<uint32_t> numbers;
    const Atom property = XInternAtom(display, name, True);
    if (property == 0) return numbers; // nobody has ever named it
    Atom actualType = 0;
    int bits = 0;
    unsigned long count = 0;
    unsigned long bytesLeft = 0;
    unsigned char *data = nullptr;
    const int status = XGetWindowProperty(display, window, property, 0, longestProperty, False, type,
                                          &actualType, &bits, &count, &bytesLeft, &data);
    if (status == Success && actualType == type && bits == 32 && data) {
        // Numbers of 32 bits come one in each long.
        const auto *values = reinterpret_cast<const unsigned long *>(data);
        for (unsigned long at = 0; at < count; ++at) numbers.push_back(static_cast<uint32_t>(values[at]));
    }
    if (data) XFree(data);
    return numbers;
}

size_t ktX11Connection::LargestProperty() const {
    constexpr size_t requestHead = 64;
    const long extended = XExtendedMaxRequestSize(display);
    const long words = extended ? extended : XMaxRequestSize(display);
    return std::min<size_t>(static_cast<size_t>(words) * 4 - requestHead, INT_MAX);
}

void ReadX11Pointer(Display *display, int32_t &x, int32_t &y, bool &leftIsDown) {
    Window root = DefaultRootWindow(display);
    Window child = 0;
    int windowX = 0;
    int windowY = 0;
    unsigned held = 0;
    x = y = 0;
    XQueryPointer(display, root, &root, &child, &x, &y, &windowX, &windowY, &held);
    leftIsDown = (held & Button1Mask) != 0;
}
