#pragma once

/// What Tab asks in a command line. Main thread.
class ktCompletion {
public:
    /// Begins a cycle over what the end of `line` can become. False when there is nothing.
    virtual bool BuildCandidates(const char *line) = 0;
    /// The whole line with the cycle's next candidate in it, or with the one before; freed by the caller with
    /// free(). Null without one.
    virtual char *NextCandidate(bool forward) = 0;

protected:
    ~ktCompletion() = default;
};
