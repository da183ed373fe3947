// Work in a process of its own.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

namespace zeltest {

// Whether work, done in a child of this process, gives true. One that hangs is ended.
template <class Work>
bool succeedsInFork(const Work& work) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(20);
    std::_Exit(work() ? 0 : 1);
  }
  int status = -1;
  return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace zeltest
