#pragma once

#include "commands/basic_cmd.h"
#include "symbols/location_format.h"

class ktDisasm;
class ktSpace;

/// `u`: lists instructions, with a header at each function and source lines where they are known.
class ktUCmd final : public ktSessionOutputCmd {
public:
    ktUCmd() : ktSessionOutputCmd("u") {}
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override;

private:
    void SetUpDisasm(ktSpace &space) const;
    uint32_t List(ktSpace &space, uint64_t start, uint64_t count, bool countGiven);
    uint64_t AddInstruction(uint64_t address, const uint8_t *code, uint32_t size) const;

    ktLocationList results; ///< of the address that is listed
    bool found = false;     ///< `start` had at least one location
    ktLocationFormat format;
};
