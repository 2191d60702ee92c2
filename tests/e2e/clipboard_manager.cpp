// A clipboard manager for tests: takes over what a program hands it when it ends, and serves that from then
// on.
//
//   clipboard_manager each|list|silent|refuse
//
// each: asks for the text by itself. list: asks for a list of forms in one request, one of which nobody has.
// silent: never answers. refuse: answers that it could not. Prints one word for each thing that happens.
#include <X11/Xatom.h>
#include <X11/Xlib.h>

#include <cstdio>
#include <cstring>
#include <string>

namespace {

class Manager {
public:
    explicit Manager(const char *wanted) : mode(wanted) {
        display = XOpenDisplay(nullptr);
        if (!display) return;
        window = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, 1, 1, 0, 0, 0);
        XSetSelectionOwner(display, Named("CLIPBOARD_MANAGER"), window, CurrentTime);
        XSync(display, False);
        Say("ready");
    }

    bool IsOpen() const { return display != nullptr; }

    void Run() {
        while (true) {
            XEvent event;
            XNextEvent(display, &event);
            if (event.type == SelectionRequest) OnRequest(event.xselectionrequest);
            if (event.type == SelectionNotify) OnNotify(event.xselection);
        }
    }

private:
    Atom Named(const char *name) const { return XInternAtom(display, name, False); }

    static void Say(const std::string &line) {
        std::puts(line.c_str());
        std::fflush(stdout);
    }

    void OnRequest(const XSelectionRequestEvent &request) {
        if (request.target == Named("SAVE_TARGETS")) {
            Say("asked");
            asker = request;
            if (mode == "refuse") Answer(request, 0);
            if (mode == "each" || mode == "list") Ask();
            return;
        }
        // Somebody pastes what was taken over.
        if (request.target != Named("UTF8_STRING")) return Answer(request, 0);
        XChangeProperty(display, request.requestor, request.property, request.target, 8, PropModeReplace,
                        reinterpret_cast<const unsigned char *>(text.data()), static_cast<int>(text.size()));
        Answer(request, request.property);
    }

    void Answer(const XSelectionRequestEvent &request, Atom property) {
        XEvent answer = {};
        answer.xselection.type = SelectionNotify;
        answer.xselection.requestor = request.requestor;
        answer.xselection.selection = request.selection;
        answer.xselection.target = request.target;
        answer.xselection.property = property;
        answer.xselection.time = request.time;
        XSendEvent(display, request.requestor, False, NoEventMask, &answer);
        XSync(display, False);
    }

    void Ask() {
        const Atom property = Named("TAKEN");
        if (mode == "each") {
            XConvertSelection(display, Named("CLIPBOARD"), Named("UTF8_STRING"), property, window,
                              asker.time);
            return;
        }
        const Atom pairs[] = {Named("TARGETS"),     Named("TAKEN_TARGETS"), Named("image/png"),
                              Named("TAKEN_IMAGE"), Named("UTF8_STRING"),   property,
                              Named("TIMESTAMP"),   Named("TAKEN_TIME")};
        XChangeProperty(display, window, Named("TAKEN_LIST"), Named("ATOM_PAIR"), 32, PropModeReplace,
                        reinterpret_cast<const unsigned char *>(pairs), 8);
        XConvertSelection(display, Named("CLIPBOARD"), Named("MULTIPLE"), Named("TAKEN_LIST"), window,
                          asker.time);
    }

    void OnNotify(const XSelectionEvent &event) {
        if (event.property == 0) {
            Say("nothing");
            return Answer(asker, 0);
        }
        if (mode == "list") {
            Say("list " + std::to_string(Count(Named("TAKEN_LIST"))));
            Say("forms " + std::to_string(Count(Named("TAKEN_TARGETS"))));
            Say("image " + std::to_string(Count(Named("TAKEN_IMAGE"))));
            Say("time " + std::to_string(Count(Named("TAKEN_TIME"))));
        }
        Read(Named("TAKEN"), &text);
        Say("took " + std::to_string(text.size()));
        Answer(asker, asker.property);
        XSetSelectionOwner(display, Named("CLIPBOARD"), window, CurrentTime);
        XSync(display, False);
        Say("owns");
    }

    /// How many values a property of the own window has that are not 0.
    int Count(Atom property) { return Read(property, nullptr); }

    int Read(Atom property, std::string *bytes) {
        Atom type = 0;
        int bits = 0;
        unsigned long count = 0;
        unsigned long left = 0;
        unsigned char *data = nullptr;
        XGetWindowProperty(display, window, property, 0, 1L << 24, False, AnyPropertyType, &type, &bits,
                           &count, &left, &data);
        int result = 0;
        if (data && bits == 32) {
            const auto *values = reinterpret_cast<const unsigned long *>(data);
            for (unsigned long at = 0; at < count; ++at) result += values[at] != 0;
        }
        if (data && bytes) bytes->assign(reinterpret_cast<const char *>(data), count);
        if (data) XFree(data);
        return result;
    }

    std::string mode;
    Display *display = nullptr;
    Window window = 0;
    XSelectionRequestEvent asker = {};
    std::string text;
};

} // namespace

int main(int count, char **arguments) {
    if (count != 2) return 2;
    Manager manager(arguments[1]);
    if (!manager.IsOpen()) return 1;
    manager.Run();
}
