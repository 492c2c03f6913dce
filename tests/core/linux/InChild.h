#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace test {

// Runs `work` in a child that fork() makes, which then ends as a program does, static objects and
// all. Returns its status as waitpid tells it: 0 when all went well. One that hangs is ended.
template <typename Work>
int InChild(Work work) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        work();
        std::exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

}  // namespace test
