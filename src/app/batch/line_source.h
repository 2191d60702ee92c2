#pragma once

#include <cstdint>
#include <fstream>
#include <istream>
#include <string>
#include <vector>

/// Where the batch program's next line comes from: given lines, then scripts, then standard input.
class ktLineSource {
public:
    /// Longer lines end the input: nothing that anybody typed has so many bytes.
    static constexpr size_t maxLineSize = size_t(16) << 20;

    /// The vectors are copied.
    ktLineSource(std::vector<std::string> givenLines, std::vector<std::string> givenScripts);

    /// False at the end of all input, and when a script cannot be used (then Failure() tells why).
    bool Next(std::string &line);
    /// What was wrong with a script, as a sentence; empty when nothing was.
    const std::string &Failure() const { return failure; }
    /// "NAME:LINE" of the line that Next gave last, for complaints.
    std::string Place() const;

private:
    enum class Input { none, file, standardInput };

    bool OpenNextScript();
    bool ReadLine(std::string &line);
    bool ReadFrom(std::istream &stream, std::string &line);
    static bool ReadFromTerminal(std::string &line);
    void Fail(const char *what) { failure = name + ": " + what; }

    std::vector<std::string> lines;
    size_t nextLine = 0;
    std::vector<std::string> scripts;
    size_t nextScript = 0;
    Input input = Input::none;
    std::ifstream file;
    std::string name;
    uint64_t lineNumber = 0;
    std::string failure;
};
