#pragma once

#include "session/address.h"
#include "session/data_reader.h"

class ktDbgEng;

/// Reader of the target's memory, straight through the engine. The position is the address's value, and
/// there is no end.
class ktSbDataReader final : public DataReader {
public:
    /// `newEngine` is not owned; without one every read fails.
    ktSbDataReader(ktDbgEng *newEngine, const ktAddress &newAddress)
        : engine(newEngine), address(newAddress) {}

    uint64_t GetPosition() override { return address.value; }
    bool IsAtEnd() override { return false; }
    /// Always succeeds, and makes the address a linear one.
    bool Seek(uint64_t position) override;
    /// Always false.
    bool Skip(uint64_t distance) override;
    /// Always false.
    bool SeekFromEnd(int64_t distance) override;
    bool ReadExact(void *buffer, uint32_t size) override;
    /// True when the engine did not fail, also for fewer bytes than asked. The position moves by what came.
    bool Read(void *buffer, uint32_t size, uint32_t *done) override;
    /// Always null.
    std::unique_ptr<DataReader> Clone() override;
    /// Always null.
    std::unique_ptr<DataReader> SubReader(uint64_t start, uint64_t end) override;

private:
    ktDbgEng *engine;
    ktAddress address;
};
