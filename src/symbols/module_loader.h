#pragma once

struct ktLoadRequest;

/// Loads the ELF or PE file at the host path `path` into a fresh module of `request`, named after the file
/// without its extensions. False when the file cannot be opened or loaded. From an opened file on, the module
/// that the request held before is released; on failure it then holds none, and no page of the file stays.
/// Command thread.
bool LoadFromFile(ktLoadRequest &request, const char *path);
