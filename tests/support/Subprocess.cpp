#include "tests/support/Subprocess.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace tolvana::testing {

ProcessResult runProcess(const std::vector<std::string>& arguments, const std::vector<std::string>& environment) {
  int out[2], err[2];
  // Close-on-exec, so that only the copies on 1 and 2 reach the child: a daemon it starts must
  // not hold the pipes open after it ends.
  if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0) throw std::runtime_error("pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
  posix_spawn_file_actions_addclose(&actions, out[0]);
  posix_spawn_file_actions_addclose(&actions, err[0]);
  std::vector<char*> argv, envp;
  for (const auto& a : arguments) argv.push_back(const_cast<char*>(a.c_str()));
  argv.push_back(nullptr);
  for (const auto& e : environment) envp.push_back(const_cast<char*>(e.c_str()));
  envp.push_back(nullptr);
  pid_t pid = 0;
  int spawned = posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), envp.data());
  posix_spawn_file_actions_destroy(&actions);
  ::close(out[1]);
  ::close(err[1]);
  ProcessResult result;
  // Both pipes are drained together, so a child that fills one cannot block on it.
  std::array<pollfd, 2> fds{{{out[0], POLLIN, 0}, {err[0], POLLIN, 0}}};
  std::array<std::string*, 2> sinks{&result.out, &result.err};
  for (int open = spawned == 0 ? 2 : 0; open > 0;) {
    ::poll(fds.data(), fds.size(), -1);
    for (std::size_t i = 0; i < fds.size(); ++i) {
      if (fds[i].fd < 0 || !fds[i].revents) continue;
      std::array<char, 4096> buffer;
      ssize_t n = ::read(fds[i].fd, buffer.data(), buffer.size());
      if (n > 0) {
        sinks[i]->append(buffer.data(), static_cast<std::size_t>(n));
      } else {
        fds[i].fd = -1;
        --open;
      }
    }
  }
  ::close(out[0]);
  ::close(err[0]);
  if (spawned != 0) return result;
  int status = 0;
  ::waitpid(pid, &status, 0);
  if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
  return result;
}

}  // namespace tolvana::testing
