#include "session/private_space_reader.h"

#include "symbols/space.h"

#include <algorithm>

ktPrivateSpaceReader::ktPrivateSpaceReader(ktSpace &space, ktDbgEng *engine)
    : source(engine, SpaceSourceAddress(space.Key())),
      reader(&space.Pages(), space.TargetReader() ? &source : nullptr) {}

bool ktPrivateSpaceReader::ReadAt(uint64_t position, void *buffer, uint32_t size, uint32_t &done) {
    done = 0;
    const bool read = reader.Seek(position) && reader.Read(buffer, size, &done);
    done = std::min(done, size);
    return read;
}

ktAddress SpaceSourceAddress(uint64_t key) {
    ktAddress address;
    address.root = key;
    address.kind = ktAddress::kindLinear;
    return address;
}
