#pragma once

#include <cstdint>

struct ktLoadProgress;

/// Tells a person at a terminal that a command still runs, on standard error. Silent elsewhere.
class ktBusySign {
public:
    ktBusySign();
    /// Takes the sign away.
    ~ktBusySign();
    ktBusySign(const ktBusySign &) = delete;
    ktBusySign &operator=(const ktBusySign &) = delete;

    /// Called again and again while the command runs; shows the seconds since construction, from the first
    /// on, and how far a load has come.
    void Refresh(const ktLoadProgress &progress);

private:
    bool wanted;
    uint64_t start;
    uint64_t shownSeconds = 0;
    int shownWidth = 0;
};
