#include "common/calls.h"
#include "process/process.h"

enum { lineSize = 96 };

struct line {
    char text[lineSize];
    size_t length;
};

static void addText(struct line *line, const char *text) {
    while (*text != 0 && line->length < lineSize) line->text[line->length++] = *text++;
}

static void addNumber(struct line *line, uint64_t value) {
    char digits[24], *at = digits + sizeof digits;
    *--at = 0;
    do {
        *--at = (char)('0' + value % 10);
        value /= 10;
    } while (value != 0);
    addText(line, at);
}

static void sendLine(const struct line *line) {
    systemCall(CALL_WRITE, (uint64_t)line->text, line->length, 0);
}

void sayLine(const char *text) {
    struct line line;
    line.length = 0;
    addText(&line, text);
    addText(&line, "\n");
    sendLine(&line);
}

void sayAccount(const struct account *account) {
    struct line line;
    line.length = 0;
    addText(&line, account->owner);
    addText(&line, ": step ");
    addNumber(&line, account->steps);
    addText(&line, ", total ");
    addNumber(&line, account->total);
    addText(&line, "\n");
    sendLine(&line);
}

int isPowerOfTwo(uint64_t value) { return (value & (value - 1)) == 0; }
