#pragma once

#include <cstdint>
#include <memory>
#include <string>

/// An open file, read only. One thread at a time.
class ktFile {
public:
    virtual ~ktFile() = default;
    /// Reads up to `size` bytes at `offset`. False on an error of the system; a
    /// read at or past the end succeeds with 0 bytes. `done` is always set.
    virtual bool ReadAt(uint64_t offset, void *buffer, uint64_t size, uint64_t &done) = 0;
    /// Size in bytes when the file was opened.
    virtual uint64_t Size() const = 0;
};

/// Where files come from, replaceable in tests.
class ktFileSystem {
public:
    virtual ~ktFileSystem() = default;
    /// Opens an existing regular file for reading, letting others read it. Null on any failure.
    virtual std::unique_ptr<ktFile> OpenForRead(const char *path) = 0;
};

/// The system's own files. Lives for the whole process.
ktFileSystem &SystemFiles();

/// True for a byte that separates the components of a host path.
bool IsHostPathSeparator(char c);
/// The separator to build host paths with.
extern const char ktHostPathSeparator;
/// Bytes that a host path may have; a longer one can never be opened.
extern const size_t ktLongestHostPath;
/// The part of a host path behind its last separator.
std::string HostPathLastComponent(const std::string &path);
