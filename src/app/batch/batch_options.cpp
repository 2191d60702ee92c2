#include "app/batch/batch_options.h"

#include <CLI/CLI.hpp>

#include <iostream>

namespace {

constexpr char description[] = "Runs SableDbg command lines without windows and prints what they print.";

constexpr char footer[] = R"(Lines come from the -x options, then from the scripts in order, then, when
no script is given, from standard input ("-" names it among the scripts).
Lines that start with a point are the batch program's own:
  .wait [MS]    wait until the target is stopped (10000 ms unless told; then exit code 3)
  .sleep MS     wait
  .cancel       ask the running command to stop
A line that starts with # is a comment. q and the end of input end the program.

Exit codes: 0 done, 1 stopped by --stop-on-error or start-up failed,
2 unusable arguments or scripts, 3 a time limit was passed,
130 interrupted (Ctrl+C) twice during one command.)";

} // namespace

ktBatchStart ParseBatchOptions(int argc, const char *const *argv, ktBatchOptions &options, int &exitCode) {
    CLI::App parser(description, "sabledbg-batch");
    parser.footer(footer);
    parser.set_version_flag("--version", std::string("sabledbg-batch ") + SABLE_VERSION);
    // One value per -x, so that a script behind it is a script.
    parser.add_option("-x,--execute", options.execute, "Run LINE before the scripts (repeatable)")
        ->type_name("LINE")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
    // Scripts are what is left over: the library would take a declared one in brackets for a list.
    parser.allow_extras();
    parser.get_formatter()->label("OPTIONS", "OPTIONS] [SCRIPT..."); // completes the line of usage
    parser.add_flag("--echo", options.echo, "Print \"> LINE\" before running a line");
    parser.add_flag("--status", options.status, "Print \"[N]\" after each line, N the status it ended with");
    parser.add_flag("--log", options.log, "Print new lines of the log as \"log: TEXT\"");
    parser.add_flag("--remote", options.remote, "Print new lines of the remote log as \"remote: TEXT\"");
    parser.add_flag("--stop-on-error", options.stopOnError,
                    "Stop after the first line whose status is not 0 or 1, with exit code 1");
    parser
        .add_option("--timeout", options.timeoutMilliseconds,
                    "Cancel a command that runs longer, and end with exit code 3")
        ->type_name("MS")
        ->check(CLI::Range(uint32_t(1), uint32_t(0xFFFFFFFE)));
    try {
        parser.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        exitCode = parser.exit(error, std::cout, std::cerr) == 0 ? ktBatchDone : ktBatchBadUsage;
        return ktBatchStart::exit;
    }
    options.scripts = parser.remaining();
    for (const std::string &script : options.scripts) {
        if (script.size() < 2 || script[0] != '-') continue;
        std::cerr << "sabledbg-batch: unknown option " << script << "; --help lists them\n";
        exitCode = ktBatchBadUsage;
        return ktBatchStart::exit;
    }
    return ktBatchStart::run;
}
