#pragma once

#include <algorithm>
#include <cstdint>

#include "symbols/range_list.h"

/// Place that stands for no element.
constexpr uint32_t ktNoRange = ~uint32_t(0);

/// Folds one range into a list of ranges. An element that the range meets (to touch is to meet) and that
/// holds it ends the fold; the first one that it outlasts is stretched to its end; the first one that it
/// begins before is moved down to its start and keeps its size, so that its end moves down as well (it
/// has always been so and only overlapping input shows it); these two found, they become one and the fold
/// ends; elements inside the range go. What meets nothing, or only what goes, is appended. A range that
/// wraps around is held by all that meets it.
///
/// In terms of a walk in list order: the first element that holds the range's start, borders included,
/// either holds it all or is the one to stretch; the first that holds its end either holds it all or is
/// the one to move. Elements that hold it all are candidates of both searches, so nothing else can end the
/// walk earlier, and no step of the walk changes what a later one finds.
///
/// The list `ranges` numbers its elements in list order and offers:
/// FindFirst(highestStart, lowestEnd): the first with a start not above and an end not below, or ktNoRange.
/// At(place), Stretch(place, end), Append(range); MoveStart(place, start) to a lower start.
/// Drop(place): the element is to go when all folds are done; until then it takes part.
/// DropInside(low, high, before): Drop for the elements with low < start <= high and low <= end < high
/// that stand before that place.
template <class Ranges>
void FoldRange(Ranges &ranges, const ktAddrRange &range) {
    const uint64_t low = range.start;
    const uint64_t high = range.End();
    const uint32_t met = ranges.FindFirst(high, low);
    if (met == ktNoRange) {
        ranges.Append(range);
        return;
    }
    const uint32_t atLow = ranges.FindFirst(low, low);
    const uint32_t atHigh = ranges.FindFirst(high, high);
    const bool lowHoldsAll = atLow != ktNoRange && ranges.At(atLow).End() >= high;
    const bool highHoldsAll = atHigh != ktNoRange && ranges.At(atHigh).start <= low;
    const bool stretches = atLow != ktNoRange && !lowHoldsAll;
    const bool moves = atHigh != ktNoRange && !highHoldsAll;

    uint32_t walkEnd = ktNoRange;
    if (lowHoldsAll) {
        walkEnd = atLow;
    } else if (highHoldsAll) {
        walkEnd = atHigh;
    } else if (stretches && moves) {
        walkEnd = std::max(atLow, atHigh);
    }
    ranges.DropInside(low, high, walkEnd);
    if (stretches) ranges.Stretch(atLow, high);
    if (moves) ranges.MoveStart(atHigh, stretches ? ranges.At(atLow).start : low);
    if (stretches && moves) ranges.Drop(atLow);
    if (!stretches && !moves && walkEnd == ktNoRange) ranges.Append(range);
}
