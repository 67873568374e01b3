#pragma once

#include <sys/types.h>

// Starts `program` under a guard: a process that leads a new process group,
// waits for the program and ends the way it ended, and kills its whole group
// when this process dies, however it dies (the kernel's parent-death signal;
// posix_spawn cannot ask for it). For commands that must not outlive us.
// `input`, `output` and `errors` become the program's standard streams (-1:
// /dev/null); nothing else is inherited. `workingDirectory` may be null.
// Returns the guard's pid, or -errno when the guard or the program could not
// be started (an `exec` failure of the program included).
pid_t spawnGuarded(const char *program, char *const argv[], char *const envp[], int input, int output, int errors,
                   const char *workingDirectory);
