#include "symbols/space_list.h"

#include <utility>

#include "symbols/space.h"

ktSpaceList::ktSpaceList() = default;
ktSpaceList::~ktSpaceList() = default;

ktSpace *ktSpaceList::Find(uint64_t key) const {
    const ktLockGuard guard(lock);
    for (const std::unique_ptr<ktSpace> &space : spaces) {
        if (space->Key() == key) return space.get();
    }
    return nullptr;
}

ktSpace *ktSpaceList::Append(std::unique_ptr<ktSpace> space) {
    const ktLockGuard guard(lock);
    spaces.push_back(std::move(space));
    return spaces.back().get();
}
