// What an engine works out from a machine's memory: page tables, segments, searches. The input is settings,
// then RAM.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "core/address_space.h"
#include "core/interface_name.h"
#include "core/memory_search.h"
#include "core/page_walk.h"
#include "core/segment.h"
#include "core/sha1.h"
#include "support/fake_target.h"

namespace {

constexpr size_t ramInUse = 65536;

void Require(bool condition) {
    if (!condition) std::abort();
}

struct Settings {
    uint8_t mode;
    uint8_t features;
    uint8_t physicalBits;
    uint8_t patternSize;
    uint16_t selector;
    uint16_t step;
    uint64_t root;
    uint64_t linear;
    uint64_t length;
    uint64_t tables;
};

void CheckWalk(FakeTarget &target, const Settings &settings) {
    const sable::PageWalk walk = WalkPages(target, target.paging, settings.root, settings.linear);
    Require(walk.raw.entryCount <= 4 && walk.last >= settings.linear);
    for (size_t index = walk.raw.entryCount; index < 4; ++index) Require(walk.raw.entries[index] == 0);
    // All entries but the last one lead on.
    for (size_t index = 0; index + 1 < walk.raw.entryCount; ++index)
        Require((walk.raw.entries[index] & 1) != 0);
    if (walk.raw.isValid != 0 && walk.raw.mode != ktSbPagingNone) {
        Require((walk.physical & 0xFFF) == (settings.linear & 0xFFF));
        Require(walk.physical >> target.paging.physicalBits == 0);
    }
}

void CheckSpace(sable::AddressSpace &space, uint64_t address, const Settings &settings) {
    std::vector<uint8_t> bytes(3 * 4096 + 5);
    uint32_t done = 0;
    const int32_t status = space.Read(address, bytes.data(), uint32_t(bytes.size()), done);
    Require(done <= bytes.size() && (status >= 0) == (done != 0));

    FakeMonitor monitor;
    monitor.patience = 100;
    const std::vector<uint8_t> pattern(std::max<uint8_t>(settings.patternSize, 1),
                                       uint8_t(settings.features));
    const sable::SearchRange range = {address, address + std::min(settings.length, UINT64_MAX - address),
                                      std::max<uint32_t>(settings.step, 1)};
    uint64_t hit = 0;
    if (SearchMemory(space, range, pattern, monitor, hit) >= 0) {
        Require(hit >= range.start && hit <= range.end && (hit - range.start) % range.step == 0);
        std::vector<uint8_t> found(pattern.size());
        Require(space.Read(hit, found.data(), uint32_t(found.size()), done) >= 0 && found == pattern);
    }
    ktSbRawSha1 digest = {};
    if (ComputeSha1(space, address, uint32_t(settings.length & 0xFFFF), monitor, digest, done) >= 0) {
        Require(done == (settings.length & 0xFFFF));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static FakeTarget target;
    sable::MachineSettings machine;
    if (sable::ParseInterfaceName({reinterpret_cast<const char *>(data), size}, machine)) {
        Require(machine.ramBytes >= uint64_t(16) << 20 && machine.ramBytes <= uint64_t(2) << 30);
    }
    Settings settings = {};
    if (size < sizeof settings) return 0;
    std::memcpy(&settings, data, sizeof settings);
    const size_t ramSize = std::min(size - sizeof settings, ramInUse);
    std::memcpy(target.ram.data(), data + sizeof settings, ramSize);
    std::memset(&target.ram[ramSize], 0, ramInUse - ramSize);

    target.notes.clear();
    target.paging.mode = settings.mode % 5;
    target.paging.hasLargePages = (settings.features & 1) != 0;
    target.paging.hasGigabytePages = (settings.features & 2) != 0;
    target.paging.physicalBits = uint8_t(32 + settings.physicalBits % 21);
    target.paging.root = settings.root % ramInUse;
    target.mode = settings.features >> 5;
    target.context.gdtBase = settings.tables % ramInUse;
    target.context.gdtLimit = uint16_t(settings.tables >> 16);
    target.context.ldt = uint16_t(settings.tables >> 32);
    target.context.ldtBase = settings.tables >> 40;
    target.context.ldtLimit = 0xFFFF;

    CheckWalk(target, settings);
    sable::Segment segment;
    uint64_t address = settings.linear;
    if (FindSegment(target, settings.selector, segment) >= 0) address = segment.Linear(address);
    sable::LinearSpace linear(target, settings.root);
    Require(linear.Open() >= 0);
    CheckSpace(linear, address, settings);
    sable::PhysicalSpace physical(target);
    CheckSpace(physical, address, settings);
    return 0;
}
