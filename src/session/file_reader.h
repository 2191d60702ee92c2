#pragma once

#include "platform/file.h"
#include "session/data_reader.h"

#include <string>

/// Reader of a host file. Closed readers answer position all ones, size 0 and false.
class FileReader final : public DataReader {
public:
    /// Opens an existing file for reading; on failure the reader stays closed.
    explicit FileReader(const char *filePath, ktFileSystem &fileSystem = SystemFiles());
    ~FileReader() override;

    bool IsOpen() const { return file != nullptr; }
    uint64_t GetSize() const { return size; }

    uint64_t GetPosition() override;
    bool IsAtEnd() override;
    bool Seek(uint64_t newPosition) override;
    bool Skip(uint64_t distance) override;
    bool SeekFromEnd(int64_t distance) override;
    bool ReadExact(void *buffer, uint32_t wanted) override;
    bool Read(void *buffer, uint32_t wanted, uint32_t *done) override;
    /// Always null.
    std::unique_ptr<DataReader> Clone() override;
    /// Opens the path anew at the same position; `start` and `end` have no effect.
    std::unique_ptr<DataReader> SubReader(uint64_t start, uint64_t end) override;

private:
    ktFileSystem &files;
    std::string path;
    std::unique_ptr<ktFile> file;
    uint64_t position = ~uint64_t(0);
    uint64_t size = 0;
};
