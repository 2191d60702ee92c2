#include "app/batch/line_source.h"

#include "platform/console.h"

#include <editline/readline.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <system_error>
#include <utility>

namespace {

constexpr char standardInputName[] = "-";
constexpr char prompt[] = "sable> ";

} // namespace

ktLineSource::ktLineSource(std::vector<std::string> givenLines, std::vector<std::string> givenScripts)
    : lines(std::move(givenLines)), scripts(std::move(givenScripts)) {
    if (scripts.empty()) scripts.emplace_back(standardInputName);
}

bool ktLineSource::Next(std::string &line) {
    if (nextLine < lines.size()) {
        line = lines[nextLine++];
        name = "-x";
        lineNumber = nextLine;
        return true;
    }
    while (input == Input::none || !ReadLine(line)) {
        if (!failure.empty() || !OpenNextScript()) return false;
    }
    ++lineNumber;
    // Scripts from other systems end their lines with both characters.
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return true;
}

bool ktLineSource::OpenNextScript() {
    input = Input::none;
    if (nextScript == scripts.size()) return false;
    name = scripts[nextScript++];
    lineNumber = 0;
    if (name == standardInputName) {
        input = Input::standardInput;
        return true;
    }
    file.close();
    file.clear();
    std::error_code ignored;
    if (!std::filesystem::is_directory(name, ignored)) file.open(name, std::ios::binary);
    if (!file.is_open()) {
        Fail("cannot be opened");
        return false;
    }
    input = Input::file;
    return true;
}

bool ktLineSource::ReadLine(std::string &line) {
    if (input == Input::file) return ReadFrom(file, line);
    return StandardInputIsTerminal() ? ReadFromTerminal(line) : ReadFrom(std::cin, line);
}

bool ktLineSource::ReadFrom(std::istream &stream, std::string &line) {
    line.clear();
    char byte;
    while (stream.get(byte)) {
        if (byte == '\n') return true;
        if (line.size() == maxLineSize) {
            Fail("a line is too long");
            return false;
        }
        line += byte;
    }
    if (stream.bad()) {
        Fail("cannot be read");
        return false;
    }
    return !line.empty(); // the last line needs no end
}

bool ktLineSource::ReadFromTerminal(std::string &line) {
    // The library's own reading misses an interrupt that comes just before it waits.
    rl_getc_function = [](FILE *) { return ReadInputByte(); };
    for (;;) {
        char *typed = readline(prompt);
        if (typed) {
            line = typed;
            if (!line.empty()) add_history(typed);
            std::free(typed);
            return true;
        }
        // Ctrl+C drops what was typed; only the end of input ends.
        if (!TakeInterrupt()) return false;
        std::puts("");
    }
}

std::string ktLineSource::Place() const { return name + ":" + std::to_string(lineNumber); }
