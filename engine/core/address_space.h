#pragma once

#include <cstdint>

#include "core/target.h"

namespace sable {

/// Memory as one kind of address shows it. Lives on the target's thread, for one operation.
class AddressSpace {
public:
    explicit AddressSpace(Target &machine) : target(machine) {}
    virtual ~AddressSpace() = default;
    AddressSpace(const AddressSpace &) = delete;
    AddressSpace &operator=(const AddressSpace &) = delete;

    /// What stands around an address, from `first` to `last`: memory that is in one piece, the address's own
    /// place being `physical`, or nothing.
    struct Piece {
        bool isMapped = false;
        uint64_t physical = 0;
        uint64_t first = 0;
        uint64_t last = 0;
    };
    virtual Piece Locate(uint64_t address) = 0;
    /// Where an access goes, to whatever is there. False when there is no translation.
    virtual bool Translate(uint64_t address, uint64_t &physical) = 0;

    /// Reads and writes up to the first byte that cannot be reached. SABLE_OK when a byte was done, or none
    /// asked for; `done` always says how many.
    int32_t Read(uint64_t address, void *buffer, uint32_t size, uint32_t &done);
    int32_t Write(uint64_t address, const void *buffer, uint32_t size, uint32_t &done);

    Target &target;
};

/// RAM by physical address.
class PhysicalSpace final : public AddressSpace {
public:
    using AddressSpace::AddressSpace;
    Piece Locate(uint64_t address) override;
    bool Translate(uint64_t address, uint64_t &physical) override;
};

/// Memory by linear address under a page-table root, in the paging mode of the current core.
class LinearSpace final : public AddressSpace {
public:
    /// `pageRoot` 0 is the current core's own.
    LinearSpace(Target &machine, uint64_t pageRoot) : AddressSpace(machine), root(pageRoot) {}
    /// Asks the target how it translates; anything but SABLE_OK makes this space unusable.
    int32_t Open();

    Piece Locate(uint64_t address) override;
    bool Translate(uint64_t address, uint64_t &physical) override;
    const PagingFacts &Facts() const { return facts; }
    uint64_t Root() const { return root; }

private:
    uint64_t root;
    PagingFacts facts;
};

} // namespace sable
