#pragma once

struct ktAddress;
class ktSession;

/// Gives an address that has no root the cr3 of the published snapshot, with its flag bits; while the target
/// runs, that of the last stop. Without a snapshot the address stays as it is. Never waits.
void ktFillRoot(const ktSession &session, ktAddress &address);
