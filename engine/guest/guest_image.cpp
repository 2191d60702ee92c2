#include "guest/guest_image.h"

#include "guest/common/layout.h"

extern "C" {
extern const uint8_t sableGuestDemo[], sableGuestDemoEnd[];
extern const uint8_t sableGuestDemo32[], sableGuestDemo32End[];
extern const uint8_t sableGuestDemoPae[], sableGuestDemoPaeEnd[];
}

namespace sable {

namespace {

static_assert(GuestStart::loadAddress == BOOT_ADDRESS && GuestStart::noteAddress == LOADER_NOTE &&
              GuestStart::noteMagic == LOADER_MAGIC);

struct ImageRow {
    std::string_view name;
    const uint8_t *first;
    const uint8_t *end;
};

constexpr ImageRow rows[] = {{"demo", sableGuestDemo, sableGuestDemoEnd},
                             {"demo32", sableGuestDemo32, sableGuestDemo32End},
                             {"demopae", sableGuestDemoPae, sableGuestDemoPaeEnd}};

} // namespace

std::span<const uint8_t> FindGuestImage(std::string_view name) {
    for (const ImageRow &row : rows) {
        if (row.name == name) return {row.first, row.end};
    }
    return {};
}

} // namespace sable
