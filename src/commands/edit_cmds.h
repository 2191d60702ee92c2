#pragma once

#include "commands/basic_cmd.h"

/// Writes elements into target memory and empties the current space's page cache.
class ktMemEditCmd : public ktSessionOutputCmd {
public:
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) final;

protected:
    /// `elementWidth` is in bytes, at most 8.
    ktMemEditCmd(const char *name, uint32_t elementWidth);

private:
    static constexpr uint32_t maxElements = 32;
    static constexpr uint32_t maxWidth = 8;

    uint32_t StoreElements(const ktCmdArg *args, uint32_t argCount);

    uint32_t width;
    uint8_t buffer[maxElements * maxWidth] = {};
};

class ktEbCmd final : public ktMemEditCmd {
public:
    ktEbCmd();
};

class ktEwCmd final : public ktMemEditCmd {
public:
    ktEwCmd();
};

class ktEdCmd final : public ktMemEditCmd {
public:
    ktEdCmd();
};

class ktEqCmd final : public ktMemEditCmd {
public:
    ktEqCmd();
};
