#pragma once

class ktDbgEng;
class ktSpace;
struct ktSnapshot;

/// Reads the code around the snapshot's instruction pointer through the page cache of its space, and
/// pins the pages, so that they outlive the stop. What the snapshot holds already stays, and true comes at
/// once, while the pointer is in the first three quarters of it, unless `force`. On failure the snapshot
/// is untouched.
bool ReadCodeThroughCache(ktSnapshot &snapshot, ktSpace &space, ktDbgEng *engine, bool force);

/// Reads the code straight from the engine, each time.
bool ReadCodeDirectly(ktSnapshot &snapshot, ktDbgEng &engine);
