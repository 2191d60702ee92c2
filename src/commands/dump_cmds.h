#pragma once

#include "commands/basic_cmd.h"
#include "session/dump_format.h"

struct ktAddress;
class ktSpace;

/// Prints target memory. A location's address and a plain linear one are read in the current space, through
/// its page cache; any other address by the engine, with no cache between.
class ktMemDumpCmd : public ktSessionOutputCmd {
public:
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) final;

protected:
    /// `elementWidth` is in bytes; `flags` are ktDumpFlag.
    ktMemDumpCmd(const char *name, uint32_t elementWidth, uint8_t flags);

private:
    static bool FindStart(const ktSpace &space, const ktCmdArg &arg, ktAddress &start);
    template <typename Read>
    uint32_t Dump(uint64_t address, uint64_t count, Read &&read);

    ktDumpFormat format;
    uint8_t buffer[4096] = {}; ///< one chunk
};

/// `db`: bytes and characters.
class ktDbCmd final : public ktMemDumpCmd {
public:
    ktDbCmd();
};

/// `dw`: 2-byte elements.
class ktDwCmd final : public ktMemDumpCmd {
public:
    ktDwCmd();
};

/// `dd`: 4-byte elements.
class ktDdCmd final : public ktMemDumpCmd {
public:
    ktDdCmd();
};

/// `dq`: 8-byte elements.
class ktDqCmd final : public ktMemDumpCmd {
public:
    ktDqCmd();
};
