#include "app/batch/line_source.h"

#include "platform/console.h"

#include <editline/readline.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <system_error>
#include <utility>

namespace {

constexpr char standardInput[] = "-";
constexpr char prompt[] = "sable> ";

/// Scripts from other systems end their lines with both characters.
void DropCarriageReturn(std::string &line) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
}

} // namespace

ktLineSource::ktLineSource(std::vector<std::string> givenLines, std::vector<std::string> givenScripts)
    : lines(std::move(givenLines)), scripts(std::move(givenScripts)) {
    if (scripts.empty()) scripts.emplace_back(standardInput);
}

bool ktLineSource::Next(std::string &line) {
    if (nextLine < lines.size()) {
        line = lines[nextLine++];
        name = "-x";
        lineNumber = nextLine;
        return true;
    }
    for (;;) {
        if (readingStandardInput) {
            if (ReadStandardInput(line)) break;
            readingStandardInput = false;
        } else if (file.is_open()) {
            if (std::getline(file, line)) break;
            file.close();
        }
        if (!OpenNextScript()) return false;
    }
    ++lineNumber;
    DropCarriageReturn(line);
    return true;
}

bool ktLineSource::OpenNextScript() {
    if (nextScript == scripts.size()) return false;
    name = scripts[nextScript++];
    lineNumber = 0;
    if (name == standardInput) {
        readingStandardInput = true;
        return true;
    }
    file.clear();
    std::error_code ignored;
    if (!std::filesystem::is_directory(name, ignored)) file.open(name);
    if (file.is_open()) return true;
    failed = true;
    return false;
}

bool ktLineSource::ReadStandardInput(std::string &line) {
    if (!StandardInputIsTerminal()) return bool(std::getline(std::cin, line));
    char *typed = readline(prompt);
    if (!typed) return false;
    line = typed;
    if (!line.empty()) add_history(typed);
    std::free(typed);
    return true;
}

std::string ktLineSource::Place() const { return name + ":" + std::to_string(lineNumber); }
