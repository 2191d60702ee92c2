#include "platform/linux/window/x11_monitors.h"

#include "platform/linux/window/work_area.h"
#include "platform/linux/window/x11_connection.h"

#include <X11/Xatom.h>
#include <X11/extensions/Xrandr.h>

#include <algorithm>
#include <string>

namespace {

constexpr size_t mostWindows = 1000; // each costs two questions to the display

/// The work areas that the desktop publishes monitor by monitor.
std::vector<ktScreenArea> PublishedAreas(const ktX11Connection &connection) {
    const Window root = connection.Root();
    const std::vector<uint32_t> desktop = connection.Numbers(root, "_NET_CURRENT_DESKTOP", XA_CARDINAL);
    const std::string name = "_GTK_WORKAREAS_D" + std::to_string(desktop.empty() ? 0 : desktop[0]);
    return AreasOf(connection.Numbers(root, name.c_str(), XA_CARDINAL));
}

/// What panels keep for themselves.
std::vector<ktStrut> Struts(const ktX11Connection &connection) {
    std::vector<ktStrut> struts;
    std::vector<uint32_t> windows = connection.Numbers(connection.Root(), "_NET_CLIENT_LIST", XA_WINDOW);
    if (windows.size() > mostWindows) windows.resize(mostWindows);
    for (const uint32_t window : windows) {
        ktStrut strut;
        std::vector<uint32_t> numbers = connection.Numbers(window, "_NET_WM_STRUT_PARTIAL", XA_CARDINAL);
        if (numbers.empty()) numbers = connection.Numbers(window, "_NET_WM_STRUT", XA_CARDINAL);
        if (StrutOf(numbers, strut)) struts.push_back(strut);
    }
    return struts;
}

} // namespace

bool ReadX11Monitors(const ktX11Connection &connection, std::vector<ktMonitorArea> &monitors,
                     size_t &primary) {
    monitors.clear();
    primary = 0;
    int eventBase = 0;
    int errorBase = 0;
    int major = 0;
    int minor = 0;
    if (!XRRQueryExtension(connection.Get(), &eventBase, &errorBase)) return false;
    if (!XRRQueryVersion(connection.Get(), &major, &minor)) return false;
    if (major < 1 || (major == 1 && minor < 5)) return false;
    int count = 0;
    XRRMonitorInfo *list = XRRGetMonitors(connection.Get(), connection.Root(), True, &count);
    if (!list) return false;
    for (int at = 0; at < count; ++at) {
        const XRRMonitorInfo &info = list[at];
        if (info.width <= 0 || info.height <= 0) continue;
        if (info.primary) primary = monitors.size();
        ktMonitorArea area;
        area.x = info.x;
        area.y = info.y;
        area.w = static_cast<uint32_t>(info.width);
        area.h = static_cast<uint32_t>(info.height);
        monitors.push_back(area);
    }
    XRRFreeMonitors(list);
    ReadX11WorkAreas(connection, monitors);
    return !monitors.empty();
}

void ReadX11WorkAreas(const ktX11Connection &connection, std::vector<ktMonitorArea> &monitors) {
    const std::vector<ktScreenArea> areas = PublishedAreas(connection);
    const std::vector<ktStrut> struts = Struts(connection);
    // The size of the root window now; Xlib keeps the one from when the connection was made.
    XWindowAttributes root = {};
    if (!XGetWindowAttributes(connection.Get(), connection.Root(), &root)) return;
    for (ktMonitorArea &monitor : monitors) {
        const ktScreenArea whole{monitor.x, monitor.y, monitor.w, monitor.h};
        const ktScreenArea work = WorkAreaOf(whole, areas, struts, root.width, root.height);
        monitor.work_w = static_cast<uint32_t>(work.w);
        monitor.work_h = static_cast<uint32_t>(work.h);
    }
}
