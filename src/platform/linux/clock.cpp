#include "platform/clock.h"

#include <cerrno>
#include <ctime>

namespace {

class LinuxClock final : public ktClock {
public:
    uint64_t Milliseconds() override { return Nanoseconds() / 1000000; }

    uint64_t Nanoseconds() override {
        timespec now = {};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return uint64_t(now.tv_sec) * 1000000000 + uint64_t(now.tv_nsec);
    }

    void Sleep(uint32_t milliseconds) override {
        timespec left = {static_cast<time_t>(milliseconds / 1000),
                         static_cast<long>(milliseconds % 1000) * 1000000};
        // A signal cuts the sleep short and leaves the rest in `left`.
        while (clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
        }
    }
};

} // namespace

ktClock &SystemClock() {
    // Never destroyed: others may need it while the process ends.
    static LinuxClock &instance = *new LinuxClock;
    return instance;
}
