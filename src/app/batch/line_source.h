#pragma once

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

/// Where the batch program's next line comes from: given lines, then scripts, then standard input.
class ktLineSource {
public:
    /// The vectors are copied.
    ktLineSource(std::vector<std::string> lines, std::vector<std::string> scripts);

    /// False at the end of all input, and when a script cannot be opened (then Failed()).
    bool Next(std::string &line);
    bool Failed() const { return failed; }
    /// "NAME:LINE" of the line that Next gave last, for complaints.
    std::string Place() const;

private:
    bool OpenNextScript();
    bool ReadStandardInput(std::string &line);

    std::vector<std::string> lines;
    size_t nextLine = 0;
    std::vector<std::string> scripts;
    size_t nextScript = 0;
    std::ifstream file;
    bool readingStandardInput = false;
    std::string name;
    uint64_t lineNumber = 0;
    bool failed = false;
};
