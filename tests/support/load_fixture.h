#pragma once

#include "app/log.h"
#include "session/mem_reader.h"
#include "session/page_cache.h"
#include "support/byte_patch.h"
#include "support/recording_lines.h"
#include "symbols/comp_unit.h"
#include "symbols/elf/elf_loader.h"
#include "symbols/function.h"
#include "symbols/load_request.h"
#include "symbols/module.h"
#include "symbols/pe/pe_loader.h"
#include "symbols/symbol_factory.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

/// One load with all that it needs: a factory, a page cache and the log.
class ktLoadFixture {
public:
    ktLoadFixture() {
        SetLogSink(&log);
        request.factory = &factory;
        request.pages = &pages;
    }
    ~ktLoadFixture() { ClearLogSink(); }

    bool LoadElfBytes(const ktBytes &bytes) {
        MemReader reader(bytes.data(), bytes.size());
        return LoadElfFrom(reader);
    }
    bool LoadElfFrom(DataReader &reader) {
        request.module.Reset(factory.CreateModule());
        return LoadElf(request, reader);
    }
    bool LoadPeBytes(const ktBytes &bytes, bool fromFile = true) {
        MemReader reader(bytes.data(), bytes.size());
        return LoadPeFrom(reader, fromFile);
    }
    bool LoadPeFrom(DataReader &reader, bool fromFile) {
        request.module.Reset(factory.CreateModule());
        return LoadPe(request, reader, fromFile);
    }

    ktModule &Module() { return *request.module; }
    /// The bytes that the pages hold there; those of pages that are missing are left out.
    ktBytes PageBytes(uint64_t address, size_t size) {
        ktBytes bytes(size);
        uint64_t copied = 0;
        pages.ReadPages(address, bytes.data(), size, &copied);
        bytes.resize(copied);
        return bytes;
    }
    /// Each unit's functions as "name@entry+size", the units ended by ";".
    std::string Symbols() {
        std::string text;
        for (const ktCompUnit *unit : Module().CompUnits()) {
            for (const ktFunction *function : unit->Functions()) {
                const ktAddrRange range = function->ranges.Ranges().front();
                char part[128];
                std::snprintf(part, sizeof(part), "%s@%llX+%llX ", function->name.Get(),
                              static_cast<unsigned long long>(function->entry),
                              static_cast<unsigned long long>(range.size));
                text += part;
                EXPECT_EQ(range.start, function->entry);
                EXPECT_EQ(function->ranges.Count(), 1u);
            }
            text += ";";
        }
        return text;
    }

    ktRecordingLines log;
    ktSymbolFactory factory;
    ktPageCache pages;
    ktLoadRequest request;
};
