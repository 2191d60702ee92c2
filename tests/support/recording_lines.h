#pragma once

#include "app/lines.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

/// A line store that keeps what it is given and counts the uses of its locks.
class ktRecordingLines : public ktLines {
public:
    uint64_t GetLineCount() const override { return lines.size(); }
    const char *GetLine(uint64_t index) const override {
        return index < lines.size() ? lines[index].c_str() : nullptr;
    }
    bool AddLine(const char *text) override {
        lines.emplace_back(text);
        return true;
    }
    void Clear() override {
        lines.clear();
        clearedUnderLock = exclusiveHeld;
    }
    void LockShared() override { ++held; }
    void UnlockShared() override { --held; }
    void LockExclusive() override { exclusiveHeld = true; }
    void UnlockExclusive() override { exclusiveHeld = false; }
    char *GetText() override {
        copiedUnderLock = held > 0;
        if (lines.empty() || isPoor) return nullptr;
        std::string text = lines.front();
        for (size_t i = 1; i < lines.size(); ++i) text += '\n' + lines[i];
        char *copy = static_cast<char *>(std::malloc(text.size() + 1));
        if (copy) std::memcpy(copy, text.c_str(), text.size() + 1);
        return copy;
    }

    std::vector<std::string> lines;
    bool isPoor = false;          ///< has no memory for a text
    int held = 0;                 ///< shared
    bool copiedUnderLock = false; ///< of the last GetText
    bool exclusiveHeld = false;
    bool clearedUnderLock = false; ///< of the last Clear
};
