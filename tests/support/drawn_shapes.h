#pragma once

#include <cstdint>
#include <vector>

#include "gui/draw_batch.h"

/// Corners of a flat batch as x, y, x, y, for a comparison at one glance.
inline std::vector<int> PointsAt(ktDrawBatch &batch, int32_t first, uint32_t count) {
    std::vector<int> points;
    const ktFlatVertex *vertices = batch.FlatAt(first);
    for (uint32_t at = 0; at < count; ++at) {
        points.push_back(vertices[at].x);
        points.push_back(vertices[at].y);
    }
    return points;
}

/// True when all of these vertices have the colour.
inline bool AllHave(ktDrawBatch &batch, int32_t first, uint32_t count, ktColor color) {
    const ktFlatVertex *vertices = batch.FlatAt(first);
    for (uint32_t at = 0; at < count; ++at)
        if (!(vertices[at].color == color)) return false;
    return count != 0;
}
