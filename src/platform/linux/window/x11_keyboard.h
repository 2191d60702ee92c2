#pragma once

class ktX11Connection;

/// Whether the right Alt key is AltGr in the layout that is in use now: it reaches characters and is no Alt.
bool RightAltShiftsLevel(const ktX11Connection &connection);
