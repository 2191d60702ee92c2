// Lines of the boot code, which runs alone.
#pragma once

__attribute__((format(printf, 1, 2))) void bootLine(const char *format, ...);
