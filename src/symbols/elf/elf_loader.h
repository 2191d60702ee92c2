#pragma once

class DataReader;
struct ktLoadRequest;

/// Fills `request.module` from the ELF file or image that starts at position 0 of `reader`, and copies its
/// segments to `request.pages` when that is set. False when it is no usable ELF, cannot be moved to the
/// requested base, has no symbols, or cannot be copied; then no pages of it stay, and the module is not to
/// be used any more. Command thread.
bool LoadElf(ktLoadRequest &request, DataReader &reader);
