#pragma once

/**
 * Marks a function that no command calls and that a debugger does. The linker, which drops what
 * nothing calls, keeps it: also in the stripped program, where the symbols of the build find it.
 */
#define FOR_DEBUGGER [[gnu::used, gnu::retain]]
