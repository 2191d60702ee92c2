#include "symbols/module.h"

#include "symbols/comp_unit.h"

ktModule::ktModule(uint64_t id) : ktObject(id) {}

ktModule::~ktModule() { compUnits.Release(); }

bool ktModule::AddCompUnit(ktCompUnit *unit) {
    return compUnits.Add(unit, [this] { unitsByAddress.Thaw(); });
}

ktCompUnit *ktModule::FindCompUnit(const char *unitName) const { return compUnits.Find(unitName); }

void ktModule::SetIndexed(bool on) { compUnits.SetIndexed(on); }

const ktNameTrie &ktModule::UnitNames() const { return compUnits.Trie(); }

void ktModule::UnitsAt(uint64_t address, std::vector<ktCompUnit *> &hits) const {
    unitsByAddress.All(address, hits);
}

ktCompUnit *ktModule::FirstUnitAt(uint64_t address) const { return unitsByAddress.First(address); }

void ktModule::Freeze() {
    compUnits.Freeze();
    for (ktCompUnit *unit : CompUnits()) unit->Freeze();
    unitsByAddress.Freeze();
}
