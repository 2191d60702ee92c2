// The numbers of system calls, for C and assembler.
#pragma once

#define CALL_WRITE 1    // text, length: the number of bytes written, or CALL_FAILED
#define CALL_YIELD 2    // lets others run
#define CALL_SLEEP 3    // ticks
#define CALL_TICKS 4    // ticks since the start
#define CALL_ID 5       // the process's number
#define CALL_ON_FAULT 6 // where to go on after the next exception
#define CALL_END 7      // does not return

#define CALL_FAILED (-1L)
