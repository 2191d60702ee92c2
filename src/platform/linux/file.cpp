#include "platform/file.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <fcntl.h>
#include <new>
#include <sys/stat.h>
#include <unistd.h>

static_assert(sizeof(off_t) == 8, "offsets of files are 64 bits wide");

namespace {

constexpr uint64_t lastOffset = INT64_MAX;
constexpr uint64_t readLimit = 1 << 30; // the system cuts longer reads anyway

class LinuxFile final : public ktFile {
public:
    LinuxFile(int opened, uint64_t length) : descriptor(opened), size(length) {}
    ~LinuxFile() override { close(descriptor); }
    LinuxFile(const LinuxFile &) = delete;
    LinuxFile &operator=(const LinuxFile &) = delete;

    bool ReadAt(uint64_t offset, void *buffer, uint64_t wanted, uint64_t &done) override {
        done = 0;
        if (offset > lastOffset) return true; // no file reaches that far
        wanted = std::min(wanted, lastOffset - offset);
        auto *bytes = static_cast<uint8_t *>(buffer);
        while (done < wanted) {
            const auto part = static_cast<size_t>(std::min(wanted - done, readLimit));
            const ssize_t got = pread(descriptor, bytes + done, part, static_cast<off_t>(offset + done));
            if (got == 0) break;
            if (got < 0 && errno != EINTR) return false;
            if (got > 0) done += static_cast<uint64_t>(got);
        }
        return true;
    }

    uint64_t Size() const override { return size; }

private:
    int descriptor;
    uint64_t size;
};

class LinuxFiles final : public ktFileSystem {
public:
    std::unique_ptr<ktFile> OpenForRead(const char *path) override {
        if (!path) return nullptr;
        // Without O_NONBLOCK the open of a FIFO waits for its writer.
        const int descriptor = OpenRetrying(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
        if (descriptor < 0) return nullptr;
        struct stat facts = {};
        std::unique_ptr<ktFile> file;
        if (fstat(descriptor, &facts) == 0 && S_ISREG(facts.st_mode)) {
            file.reset(new (std::nothrow) LinuxFile(descriptor, static_cast<uint64_t>(facts.st_size)));
        }
        if (!file) close(descriptor);
        return file;
    }

private:
    static int OpenRetrying(const char *path, int flags) {
        int descriptor;
        do {
            descriptor = open(path, flags);
        } while (descriptor < 0 && errno == EINTR);
        return descriptor;
    }
};

} // namespace

ktFileSystem &SystemFiles() {
    // Never destroyed: others may need it while the process ends.
    static LinuxFiles &instance = *new LinuxFiles;
    return instance;
}
