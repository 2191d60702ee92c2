#include "session/sb_data_reader.h"

#include "session/dbg_eng.h"

#include <algorithm>

bool ktSbDataReader::Seek(uint64_t position) {
    address.value = position;
    address.kind = ktAddress::kindLinear;
    return true;
}

bool ktSbDataReader::Skip(uint64_t) { return false; }

bool ktSbDataReader::SeekFromEnd(int64_t) { return false; }

bool ktSbDataReader::ReadExact(void *buffer, uint32_t size) {
    uint32_t done = 0;
    return Read(buffer, size, &done) && done == size;
}

bool ktSbDataReader::Read(void *buffer, uint32_t size, uint32_t *done) {
    uint64_t came = 0;
    const bool read = engine && buffer && engine->ReadTarget(address, buffer, size, &came) >= 0;
    came = std::min<uint64_t>(came, size);
    address.value += came;
    if (done) *done = static_cast<uint32_t>(came);
    return read;
}

std::unique_ptr<DataReader> ktSbDataReader::Clone() { return nullptr; }

std::unique_ptr<DataReader> ktSbDataReader::SubReader(uint64_t, uint64_t) { return nullptr; }
