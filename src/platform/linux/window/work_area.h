#pragma once

#include <cstdint>
#include <vector>

/// A rectangle of the screen in pixels.
struct ktScreenArea {
    int64_t x = 0;
    int64_t y = 0;
    int64_t w = 0;
    int64_t h = 0;

    bool operator==(const ktScreenArea &other) const = default;
};

/// What one panel keeps for itself: so many pixels from an edge of the whole screen, along a stretch of that
/// edge. The ends of a stretch are counted in.
struct ktStrut {
    int64_t left = 0;
    int64_t right = 0;
    int64_t top = 0;
    int64_t bottom = 0;
    int64_t leftFrom = 0;
    int64_t leftTo = 0;
    int64_t rightFrom = 0;
    int64_t rightTo = 0;
    int64_t topFrom = 0;
    int64_t topTo = 0;
    int64_t bottomFrom = 0;
    int64_t bottomTo = 0;
};

/// The rectangles that a list of numbers holds, four each; a rest and empty ones are left out.
std::vector<ktScreenArea> AreasOf(const std::vector<uint32_t> &numbers);

/// Reads a panel's twelve numbers, or its four, which count along whole edges. False when there are fewer.
bool StrutOf(const std::vector<uint32_t> &numbers, ktStrut &strut);

/// What a monitor has left for windows: the part of it that one of `areas` covers, else itself without what
/// `struts` take from it, else all of it.
ktScreenArea WorkAreaOf(const ktScreenArea &monitor, const std::vector<ktScreenArea> &areas,
                        const std::vector<ktStrut> &struts, int64_t screenW, int64_t screenH);
