#include "session/file_reader.h"

#include <algorithm>
#include <cstdint>

namespace {

// File pointers of the system are signed.
constexpr uint64_t maxFilePosition = INT64_MAX;

} // namespace

FileReader::FileReader(const char *filePath, ktFileSystem &fileSystem) : files(fileSystem) {
    if (filePath == nullptr) return;
    path = filePath;
    file = files.OpenForRead(filePath);
    if (file == nullptr) return;
    position = 0;
    size = file->Size();
}

FileReader::~FileReader() = default;

uint64_t FileReader::GetPosition() { return position; }

bool FileReader::IsAtEnd() { return position == size; }

bool FileReader::Seek(uint64_t newPosition) {
    if (file == nullptr || newPosition > maxFilePosition) return false;
    position = newPosition;
    return true;
}

bool FileReader::Skip(uint64_t distance) {
    if (file == nullptr || distance > maxFilePosition - position) return false;
    position += distance;
    return true;
}

bool FileReader::SeekFromEnd(int64_t distance) {
    uint64_t newPosition = 0;
    return MovePosition(size, distance, newPosition) && Seek(newPosition);
}

bool FileReader::ReadExact(void *buffer, uint32_t wanted) {
    uint32_t done = 0;
    return Read(buffer, wanted, &done) && done == wanted;
}

bool FileReader::Read(void *buffer, uint32_t wanted, uint32_t *done) {
    if (done != nullptr) *done = 0;
    if (file == nullptr || (buffer == nullptr && wanted != 0)) return false;
    uint64_t came = 0;
    const bool succeeded = file->ReadAt(position, buffer, wanted, came);
    position = std::min(position + came, maxFilePosition);
    if (done != nullptr) *done = uint32_t(came);
    return succeeded;
}

std::unique_ptr<DataReader> FileReader::Clone() { return nullptr; }

std::unique_ptr<DataReader> FileReader::SubReader(uint64_t, uint64_t) {
    if (file == nullptr) return nullptr;
    auto reader = std::make_unique<FileReader>(path.c_str(), files);
    if (!reader->IsOpen() || !reader->Seek(position)) return nullptr;
    return reader;
}
