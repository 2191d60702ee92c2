#pragma once

#include "session/sb_data_reader.h"
#include "session/space_reader.h"

class ktDbgEng;
class ktSpace;

/// A reader of one space for one operation of one thread. The space's own reader and the target reader
/// behind it each keep a position, so two command threads at work at once cannot share them; the page
/// cache they share.
class ktPrivateSpaceReader {
public:
    /// Neither is owned. `engine` is read only when the space has a target behind it.
    ktPrivateSpaceReader(ktSpace &space, ktDbgEng *engine);
    ktPrivateSpaceReader(const ktPrivateSpaceReader &) = delete;
    ktPrivateSpaceReader &operator=(const ktPrivateSpaceReader &) = delete;

    /// Seeks and reads once; `done` receives the number of bytes that came, at most `size`.
    bool ReadAt(uint64_t position, void *buffer, uint32_t size, uint32_t &done);
    /// For who moves it by itself; lives as long as this object.
    DataReader &Reader() { return reader; }

private:
    ktSbDataReader source;
    ktSpaceReader reader;
};

/// The address of a space's target reader: linear, from 0, with the space's key as its root.
ktAddress SpaceSourceAddress(uint64_t key);
