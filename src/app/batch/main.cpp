#include "app/app.h"
#include "app/batch/batch_options.h"
#include "app/batch/batch_runner.h"
#include "app/batch/line_source.h"

#include <cstdio>

int main(int argc, char **argv) {
    ktBatchOptions options;
    int exitCode = ktBatchDone;
    if (ParseBatchOptions(argc, argv, options, exitCode) == ktBatchStart::exit) return exitCode;

    ktApp app;
    // The application has no use for arguments: those of this program are spent above.
    if (app.Init(nullptr, nullptr, "", 0) && app.Start()) {
        ktLineSource source(options.execute, options.scripts);
        exitCode = ktBatchRunner(app, options).Run(source);
    } else {
        std::fprintf(stderr, "sabledbg-batch: the start failed with system error %u\n", app.lastError);
        exitCode = ktBatchStopped;
    }
    app.Shutdown();
    return exitCode;
}
