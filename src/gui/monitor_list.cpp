#include "gui/monitor_list.h"

namespace {

// Monitors left of or above the primary one have positions below zero.
int64_t Left(const ktMonitorInfo &monitor) { return static_cast<int32_t>(monitor.x); }
int64_t Top(const ktMonitorInfo &monitor) { return static_cast<int32_t>(monitor.y); }

} // namespace

bool ktMonitorList::Enumerate() {
    monitors.clear();
    std::vector<ktMonitorArea> areas;
    if (!system.Monitors(areas)) return false;
    for (const ktMonitorArea &area : areas) {
        ktMonitorInfo &monitor = monitors.emplace_back();
        monitor.x = static_cast<uint32_t>(area.x);
        monitor.y = static_cast<uint32_t>(area.y);
        monitor.w = area.w;
        monitor.h = area.h;
        monitor.work_w = area.work_w;
        monitor.work_h = area.work_h;
    }
    return true;
}

const ktMonitorInfo *ktMonitorList::Primary() const {
    for (const ktMonitorInfo &monitor : monitors) {
        const bool holdsColumn = Left(monitor) <= 0 && Left(monitor) + monitor.w >= 0;
        const bool holdsRow = Top(monitor) <= 0 && Top(monitor) + monitor.h >= 0;
        if (holdsColumn && holdsRow) return &monitor;
    }
    return nullptr;
}

const ktMonitorInfo *ktMonitorList::AtColumn(int32_t column) const {
    for (const ktMonitorInfo &monitor : monitors)
        if (Left(monitor) < column && column < Left(monitor) + monitor.w) return &monitor;
    return nullptr;
}
