#pragma once

#include "commands/basic_cmd.h"
#include "session/dump_format.h"

/// Reads an IO port and prints the bytes, whatever the width of the accesses is.
class ktPortReadCmd : public ktSessionOutputCmd {
public:
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) final;

protected:
    /// `accessWidth` is in bytes.
    ktPortReadCmd(const char *name, uint8_t accessWidth);

private:
    uint8_t width;
    ktDumpFormat format;
    uint8_t buffer[4096] = {}; ///< one chunk
};

class ktInbCmd final : public ktPortReadCmd {
public:
    ktInbCmd();
};

class ktInwCmd final : public ktPortReadCmd {
public:
    ktInwCmd();
};

class ktIndCmd final : public ktPortReadCmd {
public:
    ktIndCmd();
};

/// Writes one value to an IO port, and prints nothing.
class ktPortWriteCmd : public ktSessionCmd {
public:
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) final;

protected:
    /// `accessWidth` is in bytes, at most 8.
    ktPortWriteCmd(const char *name, uint8_t accessWidth);

private:
    uint8_t width;
};

class ktOutbCmd final : public ktPortWriteCmd {
public:
    ktOutbCmd();
};

class ktOutwCmd final : public ktPortWriteCmd {
public:
    ktOutwCmd();
};

class ktOutdCmd final : public ktPortWriteCmd {
public:
    ktOutdCmd();
};
