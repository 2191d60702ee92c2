#include "platform/linux/window/work_area.h"

#include <algorithm>
#include <cstddef>

namespace {

ktScreenArea Common(const ktScreenArea &a, const ktScreenArea &b) {
    const int64_t x = std::max(a.x, b.x);
    const int64_t y = std::max(a.y, b.y);
    return {x, y, std::min(a.x + a.w, b.x + b.w) - x, std::min(a.y + a.h, b.y + b.h) - y};
}

bool IsEmpty(const ktScreenArea &area) { return area.w <= 0 || area.h <= 0; }

/// Whether the stretch from `from` to `to` meets `size` pixels from `start` on.
bool Meets(int64_t from, int64_t to, int64_t start, int64_t size) {
    return from < start + size && to >= start;
}

/// Whether `edge` lies within `size` pixels from `start` on. A panel whose edge does not stands on another
/// monitor, even when what it keeps from the edge of the screen covers this one.
bool IsInside(int64_t edge, int64_t start, int64_t size) { return edge > start && edge < start + size; }

} // namespace

std::vector<ktScreenArea> AreasOf(const std::vector<uint32_t> &numbers) {
    std::vector<ktScreenArea> areas;
    for (size_t at = 0; at + 4 <= numbers.size(); at += 4) {
        const auto number = [&](size_t which) { return int64_t(static_cast<int32_t>(numbers[at + which])); };
        const ktScreenArea area{number(0), number(1), number(2), number(3)};
        if (!IsEmpty(area)) areas.push_back(area);
    }
    return areas;
}

bool StrutOf(const std::vector<uint32_t> &numbers, ktStrut &strut) {
    if (numbers.size() < 4) return false;
    strut.left = numbers[0];
    strut.right = numbers[1];
    strut.top = numbers[2];
    strut.bottom = numbers[3];
    const bool hasStretches = numbers.size() >= 12;
    int64_t *const stretches[] = {&strut.leftFrom, &strut.leftTo, &strut.rightFrom,  &strut.rightTo,
                                  &strut.topFrom,  &strut.topTo,  &strut.bottomFrom, &strut.bottomTo};
    for (size_t at = 0; at < 8; ++at) {
        *stretches[at] = hasStretches ? numbers[4 + at] : (at % 2 ? int64_t(UINT32_MAX) : 0);
    }
    return true;
}

ktScreenArea WorkAreaOf(const ktScreenArea &monitor, const std::vector<ktScreenArea> &areas,
                        const std::vector<ktStrut> &struts, int64_t screenW, int64_t screenH) {
    ktScreenArea best;
    for (const ktScreenArea &area : areas) {
        const ktScreenArea common = Common(area, monitor);
        if (!IsEmpty(common) && common.w * common.h > best.w * best.h) best = common;
    }
    if (!IsEmpty(best)) return best;

    int64_t left = monitor.x;
    int64_t top = monitor.y;
    int64_t right = monitor.x + monitor.w;
    int64_t bottom = monitor.y + monitor.h;
    for (const ktStrut &strut : struts) {
        const int64_t rightEdge = screenW - strut.right;
        const int64_t bottomEdge = screenH - strut.bottom;
        if (IsInside(strut.left, monitor.x, monitor.w) &&
            Meets(strut.leftFrom, strut.leftTo, monitor.y, monitor.h)) {
            left = std::max(left, strut.left);
        }
        if (IsInside(rightEdge, monitor.x, monitor.w) &&
            Meets(strut.rightFrom, strut.rightTo, monitor.y, monitor.h)) {
            right = std::min(right, rightEdge);
        }
        if (IsInside(strut.top, monitor.y, monitor.h) &&
            Meets(strut.topFrom, strut.topTo, monitor.x, monitor.w)) {
            top = std::max(top, strut.top);
        }
        if (IsInside(bottomEdge, monitor.y, monitor.h) &&
            Meets(strut.bottomFrom, strut.bottomTo, monitor.x, monitor.w)) {
            bottom = std::min(bottom, bottomEdge);
        }
    }
    const ktScreenArea rest{left, top, right - left, bottom - top};
    return IsEmpty(rest) ? monitor : rest;
}
