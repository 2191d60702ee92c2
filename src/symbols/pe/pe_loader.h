#pragma once

class DataReader;
struct ktLoadRequest;

/// Fills `request.module` from the PE image that starts at the reader's position, and copies it to
/// `request.pages` when that is set. `fromFile`: the reader is a file, not target memory; that needs pages.
/// False when it is no usable PE, cannot be moved to the requested base, or cannot be copied; then no pages
/// of it stay, and the module is not to be used any more. Command thread.
bool LoadPe(ktLoadRequest &request, DataReader &reader, bool fromFile);
