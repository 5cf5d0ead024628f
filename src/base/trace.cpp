#include "base/trace.h"

#include <cstdarg>

FILE *setmac_debug_fd = nullptr;

void trace_write(const char *function, int line, const char *format, ...)
{
    fprintf(setmac_debug_fd, "[SETMAC <%s>:<%d>] ", function, line);
    va_list arguments;
    va_start(arguments, format);
    vfprintf(setmac_debug_fd, format, arguments);
    va_end(arguments);
    fflush(setmac_debug_fd);
}
