#include "platform/linux/window/clipboard_hand_over.h"

#include "platform/linux/window/x11_connection.h"

#include <X11/Xatom.h>
#include <poll.h>

#include <chrono>
#include <iterator>

namespace {

using Clock = std::chrono::steady_clock;

/// Offers one text in the ways that the conventions between clients name, and waits for the manager's word.
class Offer {
public:
    Offer(Display *onDisplay, const std::string &offered) : display(onDisplay), text(offered) {
        window = XCreateSimpleWindow(display, DefaultRootWindow(display), -1, -1, 1, 1, 0, 0, 0);
        XSelectInput(display, window, PropertyChangeMask);
    }
    ~Offer() {
        XDestroyWindow(display, window);
        XSync(display, True);
    }
    Offer(const Offer &) = delete;
    Offer &operator=(const Offer &) = delete;

    bool Run(Clock::time_point deadline) {
        if (!ReadTime(deadline)) return false;
        XSetSelectionOwner(display, clipboard, window, time);
        if (XGetSelectionOwner(display, clipboard) != window) return false;
        const Atom wanted[] = {utf8Text};
        PutAtoms(window, scratch, XA_ATOM, wanted, int(std::size(wanted)));
        XConvertSelection(display, manager, saveTargets, scratch, window, time);
        while (!isOver && NextEvent(deadline)) {
            if (event.type == SelectionRequest) Answer(event.xselectionrequest);
            if (event.type == SelectionNotify && event.xselection.selection == manager) {
                isOver = true;
                isTaken = event.xselection.property != 0;
            }
            if (event.type == SelectionClear && event.xselectionclear.selection == clipboard) {
                // The manager owns it now, or somebody copied something else.
                isOver = true;
                isTaken = hasServed;
            }
        }
        return isTaken;
    }

private:
    Atom Named(const char *name) { return XInternAtom(display, name, False); }

    void PutAtoms(Window target, Atom property, Atom type, const Atom *atoms, int count) {
        XChangeProperty(display, target, property, type, 32, PropModeReplace,
                        reinterpret_cast<const unsigned char *>(atoms), count);
    }

    /// Fills `event`. False at the deadline.
    bool NextEvent(Clock::time_point deadline) {
        while (!XPending(display)) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            if (left.count() <= 0) return false;
            pollfd waited = {ConnectionNumber(display), POLLIN, 0};
            poll(&waited, 1, static_cast<int>(left.count()));
        }
        XNextEvent(display, &event);
        return true;
    }

    /// The display's time, by which owners are told apart.
    bool ReadTime(Clock::time_point deadline) {
        XChangeProperty(display, window, scratch, XA_INTEGER, 32, PropModeAppend, nullptr, 0);
        while (NextEvent(deadline)) {
            if (event.type != PropertyNotify) continue;
            time = event.xproperty.time;
            return true;
        }
        return false;
    }

    void Answer(const XSelectionRequestEvent &request) {
        XEvent answer = {};
        answer.xselection.type = SelectionNotify;
        answer.xselection.requestor = request.requestor;
        answer.xselection.selection = request.selection;
        answer.xselection.target = request.target;
        answer.xselection.time = request.time;
        // Old clients name no property and mean one called like the target.
        const Atom property = request.property ? request.property : request.target;
        const bool isDone = request.target == multiple ? PutMany(request.requestor, property)
                                                       : Put(request.requestor, request.target, property);
        answer.xselection.property = isDone ? property : 0;
        XSendEvent(display, request.requestor, False, NoEventMask, &answer);
    }

    /// Writes the text, or a fact about it, into a property. False for a form that is not offered.
    bool Put(Window target, Atom form, Atom property) {
        if (form == targets) {
            const Atom forms[] = {targets, timestamp, multiple, utf8Text, plainText, XA_STRING};
            PutAtoms(target, property, XA_ATOM, forms, int(std::size(forms)));
            return true;
        }
        if (form == timestamp) {
            const unsigned long value = time;
            PutAtoms(target, property, XA_INTEGER, &value, 1);
            return true;
        }
        if (form != utf8Text && form != plainText && form != XA_STRING) return false;
        XChangeProperty(display, target, property, form, 8, PropModeReplace,
                        reinterpret_cast<const unsigned char *>(text.data()), static_cast<int>(text.size()));
        hasServed = true;
        return true;
    }

    /// Answers a list of pairs, form and property, that stands in `property`; a form that fails loses its
    /// property.
    bool PutMany(Window target, Atom property) {
        Atom type = 0;
        int bits = 0;
        unsigned long count = 0;
        unsigned long left = 0;
        unsigned char *data = nullptr;
        const int status = XGetWindowProperty(display, target, property, 0, longestList, False,
                                              AnyPropertyType, &type, &bits, &count, &left, &data);
        const bool isList = status == Success && data && bits == 32;
        if (isList) {
            auto *atoms = reinterpret_cast<Atom *>(data);
            for (unsigned long at = 0; at + 1 < count; at += 2) {
                const bool isDone =
                    atoms[at] != multiple && atoms[at + 1] != 0 && Put(target, atoms[at], atoms[at + 1]);
                if (!isDone) atoms[at + 1] = 0;
            }
            PutAtoms(target, property, pairs, atoms, static_cast<int>(count));
        }
        if (data) XFree(data);
        return isList;
    }

    static constexpr long longestList = 256;

    Display *display;
    const std::string &text;
    Window window = 0;
    Time time = 0;
    XEvent event = {};
    bool isOver = false;
    bool isTaken = false;
    bool hasServed = false;
    const Atom clipboard = Named("CLIPBOARD");
    const Atom manager = Named("CLIPBOARD_MANAGER");
    const Atom saveTargets = Named("SAVE_TARGETS");
    const Atom scratch = Named("SABLE_CLIPBOARD");
    const Atom targets = Named("TARGETS");
    const Atom multiple = Named("MULTIPLE");
    const Atom timestamp = Named("TIMESTAMP");
    const Atom pairs = Named("ATOM_PAIR");
    const Atom utf8Text = Named("UTF8_STRING");
    const Atom plainText = Named("text/plain;charset=utf-8");
};

} // namespace

bool HandClipboardOver(const ktX11Connection &connection, const std::string &text, uint32_t milliseconds) {
    Display *display = connection.Get();
    const Atom manager = XInternAtom(display, "CLIPBOARD_MANAGER", True);
    if (manager == 0 || XGetSelectionOwner(display, manager) == 0) return false;
    return Offer(display, text).Run(Clock::now() + std::chrono::milliseconds(milliseconds));
}
